#include <QApplication>
#include <QEventLoop>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/byte_text.h"
#include "platform/paths.h"
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

constexpr int kBetweenLooks = 50;  // milliseconds

constexpr const char* kUsage =
    "usage: lumisk-desktop [--background | --attach | --restore PATH]\n"
    "Runs the jobs, with windows; with --background without one at first, where the desktop has a tray.\n"
    "Beside an instance without windows it asks whether to show that one's jobs; with --attach it does so at once.\n"
    "With --restore it shows the earlier versions of a file or folder.\n";

void sayThatItCannotStart(const Error& error) {
  const QString why = error.code == EWOULDBLOCK ? tr_("Qel Lumisk already run") : shownText(error.text());
  std::fprintf(stderr, "lumisk-desktop: %s\n", why.toUtf8().constData());
  QMessageBox::critical(nullptr, QStringLiteral("Qel Lumisk"), why);
}

// Ends the program without a question: quit() would ask the windows, one of which may refuse or only hide.
void endAtOnce(DialogDesk& desk) {
  desk.end();
  QCoreApplication::exit();
}

// The user's interrupts; runs are cancelled and tell their end.
struct Interrupts {
  Interrupts(MainLoop& loop, DialogDesk& desk)
      : terminated(loop.onSignal(SIGTERM, [&desk] { endAtOnce(desk); })),
        interrupted(loop.onSignal(SIGINT, [&desk] { endAtOnce(desk); })) {}
  MainLoop::SourceHandle terminated, interrupted;
};

// How the program was started.
struct Way {
  Desktop::Start start = Desktop::Start::kWithWindow;
  bool attaches = false;        // to an instance without windows, unasked
  std::string pathToRestore{};  // bytes; empty: none
};

void begin(Desktop& desktop, WindowSet& windows, const Way& way) {
  desktop.start(way.start);
  if (!way.pathToRestore.empty()) windows.openRestoreOfPath(way.pathToRestore);
}

// While no user can do more; what waits for the main thread is served.
void serveWindowsUntil(const std::function<bool()>& isOver) {
  QTimer looking;
  looking.start(kBetweenLooks);
  QApplication::setOverrideCursor(Qt::WaitCursor);
  while (!isOver()) QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents | QEventLoop::WaitForMoreEvents);
  QApplication::restoreOverrideCursor();
}

// The application itself, in the order in which its parts must outlive each other.
Ending runWithOwnJobs(QApplication& application, MainLoop& loop, const Way& way) {
  DialogDesk desk(systemClock());
  DialogWindows dialogs(desk, systemClock(), loop);
  LocalDesktop local(loop, desk, systemClock(), realFileCalls());
  LocalJobsBoard board(local.app(), systemClock(), serveWindowsUntil);
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
  local.app().setShowVersions([&](const std::vector<std::string>& paths) {
    if (!paths.empty()) windows.openRestoreOfPath(paths.front());
  });
  local.app().setPathDialogs([&](const std::vector<std::string>& paths) { windows.openPickJob(paths); },
                             [&](const std::vector<std::string>& paths) { windows.openNewJob(paths); });
  const Interrupts interrupts(loop, desk);
  begin(desktop, windows, way);
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
Ending runAsWindowOfOther(QApplication& application, MainLoop& loop, const Way& way) {
  DialogDesk desk(systemClock());
  DialogWindows dialogs(desk, systemClock(), loop);
  const auto lost = [&desk] {
    QMessageBox::information(nullptr, QStringLiteral("Qel Lumisk"),
                             tr_("The Lumisk whose jobs these are has ended. Start it again to go on."));
    endAtOnce(desk);
  };
  InstanceJobsBoard board(loop, systemClock(), lost, waitBesideWindows);
  board.showDialogsOn(desk);
  WindowSet windows(board, systemClock(), realFileCalls(), loop, desk);
  addAllWindows(windows);
  const DesktopTalk talk(desk, dialogs, windows);
  Desktop desktop(application, windows, [] { return true; });
  const Interrupts interrupts(loop, desk);
  begin(desktop, windows, way);
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

// Nothing for arguments that it does not know. The entry that starts the program at login says "daemon", as for the
// program without windows.
std::optional<Way> wayOf(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return Way{};
  if (arguments.size() == 2 && arguments[0] == "--restore" && !arguments[1].empty()) {
    std::error_code none;
    return Way{Desktop::Start::kWithWindow, true,
               paths::normalised(arguments[1], std::filesystem::current_path(none).string())};
  }
  if (arguments.size() > 1) return std::nullopt;
  if (arguments[0] == "--attach") return Way{Desktop::Start::kWithWindow, true};
  const bool isBackground = arguments[0] == "--background" || arguments[0] == "daemon";
  return isBackground ? std::optional(Way{Desktop::Start::kInBackground, false}) : std::nullopt;
}

Ending run(QApplication& application, const Way& way) {
  MainLoop loop;
  switch (askOtherInstance(way.pathToRestore)) {
    case OtherInstance::kShowsItsWindow:
      return Ending::kDone;
    case OtherInstance::kWithoutWindows:
      return way.attaches || wantsItsWindow() ? runAsWindowOfOther(application, loop, way) : Ending::kStoreIsHeld;
    case OtherInstance::kNone:
      break;
  }
  return runWithOwnJobs(application, loop, way);
}

int startDesktop(int count, char** arguments) {
  programStart::openMissingStreams();
  programStart::allowManyDescriptors();
  programStart::keepMemorySmall();
  std::signal(SIGPIPE, SIG_IGN);
  startTranslation(catalogueFolder(process::programPath()));
  QApplication application(count, arguments);
  keepMachineLocale();  // the toolkit has taken the user's for the whole process
  const auto way = wayOf({arguments + 1, arguments + count});
  if (!way) {
    std::fputs(kUsage, stderr);
    return static_cast<int>(Ending::kWrongUsage);
  }
  QApplication::setApplicationName(QStringLiteral("Qel Lumisk"));
  QApplication::setDesktopFileName(QStringLiteral("lumisk-desktop"));
  QApplication::setQuitOnLastWindowClosed(false);
  theme::apply(application, theme::Appearance::kSystem);
  return static_cast<int>(run(application, *way));
}

}  // namespace

// What the program holds until its very end is not taken away under threads that still wait for a dead server.
int main(int count, char** arguments) {
  const int ending = startDesktop(count, arguments);
  std::fflush(nullptr);
  std::_Exit(ending);
}
