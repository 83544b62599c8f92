#include <QApplication>
#include <QEventLoop>
#include <QMessageBox>
#include <QPushButton>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <thread>

#include "platform/byte_text.h"
#include "platform/process.h"
#include "platform/program_start.h"
#include "platform/real_file_calls.h"
#include "presenters/instance_jobs_board.h"
#include "presenters/local_jobs_board.h"
#include "ui/desktop.h"
#include "ui/desktop_talk.h"
#include "ui/local_desktop.h"
#include "ui/text.h"
#include "ui/theme.h"

namespace {

using namespace lumisk;

enum class Ending { kDone = 0, kFailed = 1, kWrongUsage = 2, kStoreIsHeld = 4 };

constexpr const char* kUsage =
    "usage: lumisk-desktop [--background]\n"
    "Runs the jobs, with windows; with --background without one at first, where the desktop has a tray.\n";

void sayThatItCannotStart(const Error& error) {
  const QString why = error.code == EWOULDBLOCK ? tr_("Qel Lumisk already run") : shownText(error.text());
  std::fprintf(stderr, "lumisk-desktop: %s\n", why.toUtf8().constData());
  QMessageBox::critical(nullptr, QStringLiteral("Qel Lumisk"), why);
}

// The user's interrupts end the program without a question; runs are cancelled and tell their end.
struct Interrupts {
  explicit Interrupts(MainLoop& loop)
      : terminated(loop.onSignal(SIGTERM, [] { QApplication::quit(); })),
        interrupted(loop.onSignal(SIGINT, [] { QApplication::quit(); })) {}
  MainLoop::SourceHandle terminated, interrupted;
};

// The application itself, in the order in which its parts must outlive each other.
Ending runWithOwnJobs(QApplication& application, MainLoop& loop, Desktop::Start start) {
  DialogDesk desk(systemClock());
  DialogWindows dialogs(desk, systemClock(), loop);
  LocalDesktop local(loop, desk, systemClock(), realFileCalls());
  LocalJobsBoard board(local.app(), systemClock());
  const auto launched = local.app().applicationDidFinishLaunching();
  if (!launched) {
    sayThatItCannotStart(launched.error());
    return launched.error().code == EWOULDBLOCK ? Ending::kStoreIsHeld : Ending::kFailed;
  }
  WindowSet windows(board, systemClock(), realFileCalls(), loop, desk);
  addAllWindows(windows);
  const DesktopTalk talk(desk, dialogs, windows);
  Desktop desktop(application, windows, [&] { return local.app().terminateApplicationAction(); });
  local.app().setShowWindow([&] { windows.showMain(); });
  local.app().setPathDialogs([&](const std::vector<std::string>& paths) { windows.openPickJob(paths); },
                             [&](const std::vector<std::string>& paths) { windows.openNewJob(paths); });
  const Interrupts interrupts(loop);
  desktop.start(start);
  QApplication::exec();
  desk.end();  // a run that asks is not waited for
  local.app().applicationWillTerminate();
  return Ending::kDone;
}

// Blocking work on a thread of its own, while the windows are drawn and no user can do more.
void waitBesideWindows(const std::function<void()>& work) {
  QEventLoop waiting;
  std::thread worker([&] {
    work();
    QMetaObject::invokeMethod(&waiting, &QEventLoop::quit, Qt::QueuedConnection);
  });
  QApplication::setOverrideCursor(Qt::WaitCursor);
  waiting.exec(QEventLoop::ExcludeUserInputEvents);
  QApplication::restoreOverrideCursor();
  worker.join();
}

// The windows of an instance that has none, until it ends or they are closed.
Ending runAsWindowOfOther(QApplication& application, MainLoop& loop) {
  DialogDesk desk(systemClock());
  DialogWindows dialogs(desk, systemClock(), loop);
  const auto lost = [] {
    QMessageBox::information(nullptr, QStringLiteral("Qel Lumisk"),
                             tr_("The Lumisk whose jobs these are has ended. Start it again to go on."));
    QApplication::quit();
  };
  InstanceJobsBoard board(loop, systemClock(), lost, waitBesideWindows);
  WindowSet windows(board, systemClock(), realFileCalls(), loop, desk);
  addAllWindows(windows);
  const DesktopTalk talk(desk, dialogs, windows);
  Desktop desktop(application, windows, [] { return true; });
  const Interrupts interrupts(loop);
  desktop.start(Desktop::Start::kWithWindow);
  QApplication::exec();
  return Ending::kDone;
}

bool wantsItsWindow() {
  QMessageBox box(QMessageBox::Question, QStringLiteral("Qel Lumisk"),
                  tr_("Lumisk runs your jobs already, without windows."));
  box.setInformativeText(
      tr_("Its jobs can be shown here and changed as usual. They go on when this window is closed."));
  const auto* const show = box.addButton(tr_("&Show its jobs"), QMessageBox::AcceptRole);
  box.addButton(QMessageBox::Cancel);
  box.exec();
  return box.clickedButton() == static_cast<const QAbstractButton*>(show);
}

Ending run(QApplication& application, Desktop::Start start) {
  MainLoop loop;
  switch (askOtherInstance()) {
    case OtherInstance::kShowsItsWindow:
      return Ending::kDone;
    case OtherInstance::kWithoutWindows:
      return wantsItsWindow() ? runAsWindowOfOther(application, loop) : Ending::kStoreIsHeld;
    case OtherInstance::kNone:
      break;
  }
  return runWithOwnJobs(application, loop, start);
}

}  // namespace

int main(int count, char** arguments) {
  programStart::openMissingStreams();
  programStart::keepMemorySmall();
  std::signal(SIGPIPE, SIG_IGN);
  startTranslation(catalogueFolder(process::programPath()));
  QApplication application(count, arguments);
  keepMachineLocale();  // the toolkit has taken the user's for the whole process
  const QStringList given = QApplication::arguments().mid(1);
  // The entry that starts the program at login says "daemon", as for the program without windows.
  const bool isBackground =
      given == QStringList{QStringLiteral("--background")} || given == QStringList{QStringLiteral("daemon")};
  if (!given.isEmpty() && !isBackground) {
    std::fputs(kUsage, given.contains(QStringLiteral("--help")) ? stdout : stderr);
    return static_cast<int>(given.contains(QStringLiteral("--help")) ? Ending::kDone : Ending::kWrongUsage);
  }
  QApplication::setApplicationName(QStringLiteral("Qel Lumisk"));
  QApplication::setDesktopFileName(QStringLiteral("lumisk-desktop"));
  QApplication::setQuitOnLastWindowClosed(false);
  theme::apply(application, theme::Appearance::kSystem);
  return static_cast<int>(run(application, isBackground ? Desktop::Start::kInBackground : Desktop::Start::kWithWindow));
}
