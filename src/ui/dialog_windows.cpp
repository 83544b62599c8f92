#include "ui/dialog_windows.h"

#include <QApplication>

#include "ui/conflict_dialog.h"
#include "ui/held_dialog.h"
#include "ui/message_dialog.h"

namespace lumisk {
namespace {

// Like a modal dialog's own loop.
void serveWindowsUntil(const std::function<bool()>& isOver) {
  while (!isOver()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

}  // namespace

DialogWindows::DialogWindows(DialogDesk& desk, const Clock& clock, MainLoop& loop)
    : desk_(desk), clock_(clock), background_(backgroundThreads(loop.performer())) {
  desk_.observe([this] { follow(); });
  desk_.setNestedLoop(serveWindowsUntil);
  follow();
}

DialogWindows::~DialogWindows() {
  desk_.observe({});
  desk_.setNestedLoop({});
  for (const auto& [id, window] : windows_) delete window.data();
}

QDialog* DialogWindows::windowOf(std::uint64_t id) const {
  const auto found = windows_.find(id);
  return found == windows_.end() ? nullptr : found->second.data();
}

// A window that is answering is not deleted under its own feet.
void DialogWindows::follow() {
  const auto items = desk_.items();
  for (auto each = windows_.begin(); each != windows_.end();) {
    const bool stands =
        std::any_of(items.begin(), items.end(), [&](const DialogItem& item) { return item.id == each->first; });
    if (!stands && each->second) {
      each->second->hide();
      each->second->deleteLater();
    }
    each = stands ? std::next(each) : windows_.erase(each);
  }
  for (const DialogItem& item : items) {
    QPointer<QDialog>& window = windows_[item.id];
    const bool isNew = window.isNull();
    if (isNew) window = make(item);
    static_cast<DialogWindow*>(window.data())->update(item, clock_.now());
    if (isNew) show(item, *window);
  }
}

QDialog* DialogWindows::make(const DialogItem& item) {
  if (item.kind == DialogKind::kConflict) return new ConflictDialog(desk_, item, background_);
  if (item.kind == DialogKind::kHeldDeletions) return new HeldDialog(desk_, item);
  std::function<void()> openLog;
  if (openLog_) openLog = [this, job = item.job] { openLog_(job); };
  return new MessageDialog(desk_, item, openLog);
}

void DialogWindows::show(const DialogItem& item, QDialog& window) {
  if (item.isWaitedFor) {
    window.setWindowModality(Qt::ApplicationModal);
    window.show();
    window.raise();
    window.activateWindow();
    return;
  }
  window.setAttribute(Qt::WA_ShowWithoutActivating);
  window.show();
  QApplication::alert(&window);
  // What waits for its answer blocks the others, so none may lie above it.
  if (QWidget* const waiting = QApplication::activeModalWidget()) waiting->raise();
}

}  // namespace lumisk
