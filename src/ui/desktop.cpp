#include "ui/desktop.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QWidget>

#include "presenters/locale_text.h"
#include "ui/jobs_model.h"
#include "ui/text.h"
#include "ui/theme.h"

namespace lumisk {
namespace {

bool isShown(const WindowSet& windows, WindowKind kind) {
  const QWidget* const window = windows.find(kind);
  return window && window->isVisible();
}

}  // namespace

Desktop::Desktop(QApplication& application, WindowSet& windows, std::function<bool()> mayQuit)
    : application_(application), windows_(windows), mayQuit_(std::move(mayQuit)) {
  windows_.quit = [this] { quit(); };
  windows_.closeMain = [this] { closeMain(); };
  preferences_ = windows_.context().board.observe([this](BoardChange change) {
    if (change == BoardChange::kPreferences) applyAppearance();
  });
  applyAppearance();
  setUpTray();
}

Desktop::~Desktop() = default;

void Desktop::start(Start how) {
  // A window that cannot be brought back must be there.
  if (how == Start::kWithWindow || !tray_) windows_.showMain();
}

void Desktop::applyAppearance() {
  const std::string stored = windows_.context().board.preference(theme::kAppearanceKey).text();
  if (std::exchange(appearance_, stored) != stored) theme::apply(application_, theme::appearanceOf(stored));
}

void Desktop::setUpTray() {
  if (!QSystemTrayIcon::isSystemTrayAvailable()) return;
  menu_ = std::make_unique<QMenu>();
  connect(menu_.get(), &QMenu::aboutToShow, this, &Desktop::fillMenu);
  fillMenu();  // some desktops show it without a word
  tray_ = std::make_unique<QSystemTrayIcon>(theme::programIcon());
  tray_->setContextMenu(menu_.get());
  connect(tray_.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) windows_.showMain();
  });
  JobsModel& jobs = JobsModel::of(windows_.context());
  const auto describe = [this, &jobs] { tray_->setToolTip(shownText(jobs.list().summary())); };
  connect(&jobs, &JobsModel::updated, this, describe);
  describe();
  tray_->show();
}

// Quitting is always possible; a window that is there already is not offered.
void Desktop::fillMenu() {
  menu_->clear();
  for (const JobRow& row : JobsModel::of(windows_.context()).list().rows()) {
    if (!row.isRunning()) continue;
    if (row.canBePaused()) addPause(row);
    auto* const stop =
        menu_->addAction(theme::icon("stop"), shownText(filled(translated("Stop {} ({})"), row.name, row.statusText)));
    connect(stop, &QAction::triggered, this, [this, uuid = row.uuid] { (void)windows_.context().board.stop(uuid); });
  }
  if (!menu_->isEmpty()) menu_->addSeparator();
  menu_->addAction(tr_("&Jobs"), this, [this] { windows_.showMain(); })
      ->setEnabled(!isShown(windows_, WindowKind::kMain));
  menu_->addAction(tr_("&Mini status"), this, [this] { windows_.showMiniPanel(); })
      ->setEnabled(!isShown(windows_, WindowKind::kMiniPanel));
  menu_->addAction(tr_("&Preferences"), this, [this] { windows_.openPreferences(); })
      ->setEnabled(!isShown(windows_, WindowKind::kJobEditor));
  menu_->addSeparator();
  menu_->addAction(tr_("&Quit"), this, &Desktop::quit);
}

void Desktop::addPause(const JobRow& row) {
  const std::string text = row.isPaused ? translated("Resume {}") : translated("Pause {}");
  auto* const action =
      menu_->addAction(theme::icon(row.isPaused ? "play" : "pause"), shownText(filled(text, row.name)));
  connect(action, &QAction::triggered, this, [this, uuid = row.uuid, isPaused = row.isPaused] {
    JobsBoard& board = windows_.context().board;
    (void)(isPaused ? board.resume(uuid) : board.pause(uuid));
  });
}

void Desktop::closeMain() {
  if (!tray_) return quit();
  if (QWidget* const window = windows_.find(WindowKind::kMain)) window->hide();
  if (!std::exchange(hasToldOfTray_, true)) {
    tray_->showMessage(QStringLiteral("Qel Lumisk"), tr_("Your jobs go on. This icon brings their list back."),
                       theme::programIcon());
  }
}

void Desktop::quit() {
  if (mayQuit_() && windows_.closeAll()) QApplication::quit();
}

}  // namespace lumisk
