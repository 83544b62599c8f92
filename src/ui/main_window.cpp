#include "ui/main_window.h"

#include <QMainWindow>

#include "ui/text.h"
#include "ui/widgets.h"
#include "ui/windows.h"

namespace lumisk {
namespace {

QWidget* makeMainWindow(UiContext& context, const WindowRequest&) {
  auto* const window = new QMainWindow;
  window->setWindowTitle(QStringLiteral("Qel Lumisk"));
  window->resize(1040, 640);
  auto* const empty = new widgets::EmptyState("type-backup", tr_("Nothing is backed up yet"),
                                              tr_("Choose folders and a place for their copy."));
  auto* const button = widgets::button(tr_("&New backup"), widgets::ButtonKind::kPrimary, "plus");
  QObject::connect(button, &QPushButton::clicked, window, [&context] { context.windows.openNewJob(); });
  empty->addButton(button);
  window->setCentralWidget(empty);
  return window;
}

}  // namespace

void addMainWindow(WindowSet& windows) {
  windows.add(WindowKind::kMain, makeMainWindow);
}

}  // namespace lumisk
