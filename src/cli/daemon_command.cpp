#include <fmt/format.h>

#include <cerrno>
#include <csignal>

#include "app/keychain_images.h"
#include "app/quorvel_app_object.h"
#include "cli/commands.h"
#include "cli/options.h"
#include "cli/run_display.h"
#include "cli/terminal_dialogs.h"
#include "engine/folder_listening.h"
#include "engine/work_pool.h"
#include "jobs/shared_files.h"
#include "platform/media_registry.h"
#include "platform/process.h"
#include "platform/program_start.h"

namespace lumisk {
namespace {

struct DaemonOptions {};

// Where no window shows them (app/lent_dialogs.h): what is shown is a line on standard error, what is asked is refused,
// and conflicts are settled as their job says.
class DaemonDialogs : public TerminalDialogs {
 public:
  DaemonDialogs(RunDisplay& display, UserDefaults& defaults)
      : TerminalDialogs(display, ConflictChoice::kKeepBoth), defaults_(defaults) {}

  // Not for all conflicts: the next one may come after an edit of the job.
  ConflictAnswer askConflict(const ConflictQuestion& question) override { return {choiceOf(question.jobName), false}; }

 private:
  ConflictChoice choiceOf(const std::string& jobName);

  UserDefaults& defaults_;
};

ConflictChoice DaemonDialogs::choiceOf(const std::string& jobName) {
  const auto jobs = defaults_.object(kJobArrayKey);
  if (!jobs) return ConflictChoice::kKeepBoth;
  for (const PropertyList& job : jobs->array()) {
    if (job[kObjectNameKey].text() == jobName)
      return static_cast<ConflictChoice>(job[kFileConflictTypeKey].integer32());
  }
  return ConflictChoice::kKeepBoth;
}

// What the application is made of besides the world that the command has.
struct Daemon {
  explicit Daemon(CommandIo& io)
      : display(io, RunDisplay::Progress::kNever),
        alone(display, defaults),
        dialogs(alone, io.clock),
        app({io.loop,
             {workerServices(io), makeRealSleep, pluginListPath()},
             defaults,
             process::programPath(),
             false,
             media.get(),
             mountTable,
             unmountVolume,
             &dialogs}) {}

  WorkerServices workerServices(CommandIo& io) {
    WorkerServices services{io.files, io.clock, notifications, dialogs, images, {}, {}, {}};
    services.threads = WorkPool::usualThreads();
    services.eventListening = makeEventListening(streams, io.files);
    services.clone.makeCloner = [this] { return makeCloneVolumeObject(dialogs); };
    return services;
  }

  FileEventStreams streams;
  RunDisplay display;
  UserDefaults defaults{UserDefaults::standardPath()};
  DaemonDialogs alone;
  LentDialogs dialogs;
  NotificationCenter notifications;
  KeychainImages images;
  std::unique_ptr<MediaRegistry> media = makeMediaRegistry();
  QuorvelAppObject app;
};

std::string readyLine(std::int32_t jobs) {
  return fmt::format("lumisk: daemon: running, {} {}", jobs, jobs == 1 ? "job" : "jobs");
}

Checked<Ending> runDaemon(const DaemonOptions&, CommandIo& io) {
  programStart::keepMemorySmall();
  io.readLine = {};
  Daemon daemon(io);
  const auto terminated = io.loop.onSignal(SIGTERM, [&] { io.loop.quit(); });
  const auto interrupted = io.loop.onSignal(SIGINT, [&] { io.loop.quit(); });
  const auto reloading = io.loop.onSignal(SIGHUP, [&] { daemon.app.reload(); });
  const auto launched = daemon.app.applicationDidFinishLaunching();
  // The application has said it itself.
  if (!launched && launched.error().code == EWOULDBLOCK) return Ending::kStoreIsHeld;
  if (!launched) return fail(complaintOf(launched.error()));
  io.out << readyLine(daemon.app.jobs().count()) << std::endl;
  io.loop.run();
  daemon.dialogs.desk().end();  // a run that asks is not waited for
  daemon.app.applicationWillTerminate();
  return Ending::kDone;
}

}  // namespace

void addDaemonCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("daemon", "Run the jobs by their schedules until SIGTERM or SIGINT");
  chooseWhenNamed(*command, chosen, std::make_shared<DaemonOptions>(), &runDaemon);
}

}  // namespace lumisk
