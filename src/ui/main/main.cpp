#include <QApplication>
#include <cerrno>
#include <csignal>

#include "platform/process.h"
#include "platform/program_start.h"
#include "platform/real_file_calls.h"
#include "platform/translation.h"
#include "presenters/local_jobs_board.h"
#include "ui/local_desktop.h"
#include "ui/main/plain_dialogs.h"
#include "ui/theme.h"
#include "ui/windows.h"

namespace {

using namespace lumisk;

constexpr int kStoreIsHeld = 4;
constexpr int kFailed = 1;

// Everything in the order in which it must outlive what follows.
int runDesktop(QApplication& application, MainLoop& loop) {
  PlainDialogs dialogs(loop);
  LocalDesktop desktop(loop, dialogs, systemClock(), realFileCalls());
  LocalJobsBoard board(desktop.app(), systemClock());
  WindowSet windows(board, systemClock(), realFileCalls(), loop, dialogs);
  addAllWindows(windows);
  windows.quit = [&] {
    if (desktop.app().terminateApplicationAction() && windows.closeAll()) application.quit();
  };
  const auto launched = desktop.app().applicationDidFinishLaunching();
  if (!launched) return launched.error().code == EWOULDBLOCK ? kStoreIsHeld : kFailed;
  theme::apply(application, theme::appearanceOf(board.preference(theme::kAppearanceKey).text()));
  windows.showMain();
  const auto terminated = loop.onSignal(SIGTERM, [&] { application.quit(); });
  const auto interrupted = loop.onSignal(SIGINT, [&] { application.quit(); });
  const int status = QApplication::exec();
  desktop.app().applicationWillTerminate();
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  programStart::openMissingStreams();
  programStart::keepMemorySmall();
  std::signal(SIGPIPE, SIG_IGN);
  startTranslation(catalogueFolder(process::programPath()));
  QApplication application(count, arguments);
  keepMachineLocale();  // the application has taken the user's for the whole process
  QApplication::setApplicationName(QStringLiteral("Qel Lumisk"));
  QApplication::setDesktopFileName(QStringLiteral("lumisk-desktop"));
  QApplication::setQuitOnLastWindowClosed(false);
  theme::apply(application, theme::Appearance::kSystem);
  MainLoop loop;
  return runDesktop(application, loop);
}
