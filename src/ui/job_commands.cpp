#include "ui/job_commands.h"

#include <QAction>
#include <QMenu>
#include <QMessageBox>
#include <QToolBar>
#include <QWidget>

#include "presenters/locale_text.h"
#include "ui/text.h"
#include "ui/theme.h"

namespace lumisk {
namespace {

constexpr const char* kTitle = "Qel Lumisk";
constexpr const char* kDeleteText = markedText("Do you really want to delete this job?");
constexpr const char* kDeleteSeveralText = markedText("Do you really want to delete these {} jobs?");

}  // namespace

JobCommands::JobCommands(UiContext& context, QWidget& window) : QObject(&window), context_(context), window_(window) {
  WindowSet& windows = context.windows;
  const auto first = [this] { return selected_.empty() ? std::string() : selected_.front(); };
  newJob = make("plus", tr_("&New job"), QKeySequence::New, [&windows] { windows.openNewJob(); });
  startOrStop = make("play", tr_("&Start"), Qt::CTRL | Qt::Key_R, [this] { startOrStopAll(); });
  pauseOrResume = make("pause", tr_("&Pause"), Qt::CTRL | Qt::Key_P, [this] { pauseOrResumeAll(); });
  edit = make("edit", tr_("&Edit"), Qt::CTRL | Qt::Key_E, [&windows, first] { windows.openJobEditor(first()); });
  enableOrDisable = make("power", tr_("D&isable"), Qt::CTRL | Qt::Key_D, [this] { enableOrDisableAll(); });
  remove = make("trash", tr_("&Delete"), QKeySequence::Delete, [this] { removeAll(); });
  log = make("log", tr_("&Log"), Qt::CTRL | Qt::Key_L, [&windows, first] { windows.openLog(first()); });
  restore = make("restore", tr_("&Restore"), Qt::CTRL | Qt::SHIFT | Qt::Key_R,
                 [&windows, first] { windows.openRestoreOfJob(first()); });
  volumes = make("volumes", tr_("&Volumes"), Qt::CTRL | Qt::Key_U, [&windows] { windows.openVolumes(); });
  miniPanel = make("panel", tr_("&Mini status"), Qt::CTRL | Qt::Key_M, [&windows] { windows.showMiniPanel(); });
  preferences =
      make("preferences", tr_("&Preferences"), Qt::CTRL | Qt::Key_Comma, [&windows] { windows.openPreferences(); });
  about = make("info", tr_("&About Qel Lumisk"), {}, [this] { showAbout(); });
  quit = make("close", tr_("&Quit"), QKeySequence::Quit, [&windows] { windows.quit(); });
  show({});
}

QAction* JobCommands::make(const char* icon, const QString& text, const QKeySequence& keys,
                           std::function<void()> work) {
  auto* const action = new QAction(theme::icon(icon), text, this);
  action->setShortcut(keys);
  const QString plain = QString(text).remove(QLatin1Char('&'));
  action->setToolTip(keys.isEmpty() ? plain
                                    : QStringLiteral("%1 (%2)").arg(plain, keys.toString(QKeySequence::NativeText)));
  connect(action, &QAction::triggered, this, std::move(work));
  window_.addAction(action);
  return action;
}

void JobCommands::setSelected(std::vector<std::string> uuids, const std::vector<const JobRow*>& rows) {
  selected_ = std::move(uuids);
  const JobActions actions = actionsFor(rows);
  pausable_.clear();
  for (const JobRow* const row : rows)
    if (row->canBePaused() && row->isPaused == actions.canResume) pausable_.push_back(row->uuid);
  show(actions);
}

void JobCommands::show(const JobActions& actions) {
  actions_ = actions;
  startOrStop->setText(actions.canStop ? tr_("&Stop") : tr_("&Start"));
  startOrStop->setIcon(theme::icon(actions.canStop ? "stop" : "play"));
  startOrStop->setEnabled(actions.canStart || actions.canStop);
  pauseOrResume->setText(actions.canResume ? tr_("Res&ume") : tr_("&Pause"));
  pauseOrResume->setIcon(theme::icon(actions.canResume ? "play" : "pause"));
  pauseOrResume->setEnabled(actions.canPause || actions.canResume);
  enableOrDisable->setText(actions.canEnable ? tr_("&Enable") : tr_("D&isable"));
  enableOrDisable->setEnabled(actions.canEnable || actions.canDisable);
  for (QAction* const action : {edit, log, restore}) action->setEnabled(actions.canOpen);
  remove->setEnabled(actions.canDelete);
}

void JobCommands::addTo(QMenu& menu) const {
  menu.addActions({startOrStop, pauseOrResume, edit, enableOrDisable});
  menu.addSeparator();
  menu.addActions({log, restore});
  menu.addSeparator();
  menu.addAction(remove);
}

void JobCommands::setJobCommandsVisible(bool visible) {
  for (QAction* const action : {startOrStop, pauseOrResume, edit, enableOrDisable, remove, log, restore})
    action->setVisible(visible);
  for (QAction* const separator : separators_) separator->setVisible(visible);
}

void JobCommands::addSeparator(QToolBar& bar) {
  separators_.push_back(bar.addSeparator());
}

// The first refusal says enough.
void JobCommands::forEach(const std::function<JobsBoard::Refusal(const std::string&)>& change) {
  const auto uuids = selected_;
  for (const std::string& uuid : uuids) {
    if (const auto refusal = change(uuid)) return context_.dialogs.showAlert(kTitle, *refusal);
  }
}

void JobCommands::startOrStopAll() {
  const bool stops = actions_.canStop;
  forEach([&](const std::string& uuid) { return stops ? context_.board.stop(uuid) : context_.board.start(uuid); });
}

void JobCommands::pauseOrResumeAll() {
  const bool resumes = actions_.canResume;
  const auto uuids = pausable_;
  for (const std::string& uuid : uuids) {
    const auto refusal = resumes ? context_.board.resume(uuid) : context_.board.pause(uuid);
    if (refusal) return context_.dialogs.showAlert(kTitle, *refusal);
  }
}

void JobCommands::enableOrDisableAll() {
  const bool enables = actions_.canEnable;
  forEach([&](const std::string& uuid) { return context_.board.setActive(uuid, enables); });
}

void JobCommands::removeAll() {
  if (selected_.empty()) return;
  const auto uuids = selected_;
  const std::string question =
      uuids.size() == 1 ? translated(kDeleteText) : filled(translated(kDeleteSeveralText), uuids.size());
  if (!context_.dialogs.ask(kTitle, question, translated("OK"), translated("Cancel"))) return;
  selected_ = uuids;  // the selection may have moved on while the question was open
  forEach([&](const std::string& uuid) { return context_.board.remove(uuid); });
}

void JobCommands::showAbout() {
  QMessageBox::about(&window_, tr_("About Qel Lumisk"),
                     tr_("Qel Lumisk keeps copies of your folders, and folders in step."));
}

}  // namespace lumisk
