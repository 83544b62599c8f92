#include "ui/windows.h"

#include <QEvent>
#include <QWidget>

#include "ui/window_memory.h"

namespace lumisk {
namespace {

QString memoryName(WindowKind kind) {
  switch (kind) {
    case WindowKind::kMain:
      return QStringLiteral("main");
    case WindowKind::kJobEditor:
      return QStringLiteral("jobEditor");
    case WindowKind::kLog:
      return QStringLiteral("log");
    case WindowKind::kVolumes:
      return QStringLiteral("volumes");
    case WindowKind::kPreferences:
      return QStringLiteral("preferences");
    case WindowKind::kRestore:
      return QStringLiteral("restore");
    case WindowKind::kMiniPanel:
      return QStringLiteral("miniPanel");
    case WindowKind::kPickJob:
      return QStringLiteral("pickJob");
  }
  return {};
}

constexpr const char* kKindProperty = "lumiskWindowKind";

bool isKept(WindowKind kind) {
  return kind == WindowKind::kMain || kind == WindowKind::kMiniPanel;
}

void bringToFront(QWidget& window) {
  if (window.isMinimized()) window.showNormal();
  window.show();
  window.raise();
  window.activateWindow();
}

}  // namespace

WindowSet::WindowSet(JobsBoard& board, Clock& clock, FileCalls& files, MainLoop& loop, UserDialogs& dialogs)
    : context_{board, clock, files, loop, dialogs, *this} {}

WindowSet::~WindowSet() {
  for (const auto& [key, window] : windows_) delete window.data();
}

void WindowSet::add(WindowKind kind, Factory factory) {
  factories_.insert_or_assign(kind, std::move(factory));
}

QWidget* WindowSet::find(WindowKind kind, const WindowRequest& request) const {
  const auto found = windows_.find({kind, request});
  return found == windows_.end() ? nullptr : found->second.data();
}

QWidget* WindowSet::open(WindowKind kind, const WindowRequest& request) {
  QWidget* window = find(kind, request);
  if (!window) {
    const auto factory = factories_.find(kind);
    if (factory == factories_.end()) return nullptr;
    std::erase_if(windows_, [](const auto& entry) { return entry.second.isNull(); });
    window = factory->second(context_, request);
    if (!window) return nullptr;
    window->setProperty(kKindProperty, memoryName(kind));
    window->setAttribute(Qt::WA_DeleteOnClose, !isKept(kind));
    windowMemory::restore(*window, memoryName(kind));
    window->installEventFilter(this);
    windows_[{kind, request}] = window;
  }
  bringToFront(*window);
  return window;
}

void WindowSet::hideWindow(QWidget& window) {
  window.hide();
}

bool WindowSet::closeAll() {
  const auto windows = windows_;
  for (const auto& [key, window] : windows) {
    if (window && !isKept(key.first) && !window->close()) return false;
  }
  for (const auto& [key, window] : windows) {
    if (window) window->hide();
  }
  return true;
}

bool WindowSet::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Hide && !event->spontaneous()) {
    const auto* const window = qobject_cast<QWidget*>(watched);
    if (window && window->isWindow()) windowMemory::keep(*window, watched->property(kKindProperty).toString());
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace lumisk
