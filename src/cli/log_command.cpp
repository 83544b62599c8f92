#include <csignal>

#include "cli/commands.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "jobs/job_checks.h"
#include "log/log_file.h"
#include "log/log_tail.h"

namespace lumisk {
namespace {

struct LogOptions {
  std::string name;
  bool follow = false;
};

constexpr std::chrono::milliseconds kBetweenLooks{250};

enum class Shown { kSomething, kNothing };

Checked<Shown> showMore(LogTail& log, CommandIo& io) {
  auto shown = Shown::kNothing;
  while (io.out.good()) {
    LUMISK_TRY(const std::string text, checked(log.next()));
    if (text.empty()) break;
    io.out << text;
    shown = Shown::kSomething;
  }
  io.out.flush();
  return shown;
}

// Until Ctrl-C, or until nobody reads any more.
Checked<Ending> follow(LogTail& log, CommandIo& io) {
  Checked<Ending> ending = Ending::kDone;
  const auto end = [&](Checked<Ending> how) {
    ending = std::move(how);
    io.loop.quit();
  };
  const auto interrupted = io.loop.onSignal(SIGINT, [&] { end(Ending::kCancelled); });
  const auto terminated = io.loop.onSignal(SIGTERM, [&] { end(Ending::kCancelled); });
  const auto looking = io.loop.every(kBetweenLooks, [&] {
    const auto shown = showMore(log, io);
    if (!shown) end(fail(shown.error()));
    if (!io.out.good()) end(Ending::kDone);
  });
  io.loop.run();
  return ending;
}

// A name that no job has may still have a log: of a job that was removed, or of runs of jobs that are not kept.
Checked<void> checkLogExists(const std::string& name, CommandIo& io) {
  if (name.empty()) return {};
  StoreAccess access(io);
  LUMISK_CHECK(access.read());
  LUMISK_CHECK(access.indexOf(name));
  return {};
}

Checked<Ending> showLog(const LogOptions& options, CommandIo& io) {
  if (!options.name.empty()) {
    if (const auto problem = checkJobName(options.name)) return refuse(problem->subject, problem->reason);
  }
  LogTail log(io.files, options.name.empty() ? applicationLogPath() : jobLogPath(options.name));
  LUMISK_TRY(const Shown shown, showMore(log, io));
  if (shown == Shown::kNothing) LUMISK_CHECK(checkLogExists(options.name, io));
  return options.follow ? follow(log, io) : Checked<Ending>(Ending::kDone);
}

}  // namespace

void addLogCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("log", "Show the application's log, or a job's");
  auto options = std::make_shared<LogOptions>();
  addText(*command, "NAME", options->name, "The job's name; \"backup\" for `lumisk backup`");
  addSwitch(*command, "--follow,-f", options->follow, "Go on showing what is written, until Ctrl-C");
  chooseWhenNamed(*command, chosen, options, &showLog);
}

}  // namespace lumisk
