#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "cli/commands.h"
#include "cli/job_setup.h"
#include "cli/known_versions.h"
#include "cli/options.h"
#include "cli/run_display.h"
#include "cli/terminal_dialogs.h"
#include "engine/restore.h"
#include "jobs/shared_files.h"
#include "log/log_file.h"
#include "platform/byte_text.h"
#include "platform/number_text.h"
#include "platform/paths.h"
#include "schedule/restore_hold.h"

namespace lumisk {
namespace {

struct RestoreOptions {
  std::string path;
  std::string number;  // as given; empty: to be chosen
  std::string to;
};

struct Restored {
  std::optional<Version> version;  // empty: what is there is the same as all of them
  RestoreReport report;
  std::string newerCopy;  // a target's, that the job takes for the current version
};

// One restore: on a thread of its own, so that Ctrl-C can end it without a partial file.
class RestoreRun {
 public:
  RestoreRun(const AskedPath& asked, const RestoreOptions& options, CommandIo& io)
      : asked_(asked),
        options_(options),
        io_(io),
        display_(io, RunDisplay::Progress::kNever),
        dialogs_(display_, ConflictChoice::kKeepBoth) {}

  Checked<Ending> run();

 private:
  Checked<std::string> destination();
  Checked<std::vector<Descriptor>> lockJobs(const std::string& destination);
  Checked<std::optional<Version>> choose(const KnownVersions& known, const std::string& destination);
  Checked<Restored> restore(const KnownVersions& known, const std::string& destination);
  Checked<Restored> interruptible(const std::function<Checked<Restored>()>& work);
  Ending showEnd(const Restored& restored, const std::string& destination);
  RestoreServices services(JobLog& log) { return {io_.files, io_.clock, log, dialogs_, &cancelled_}; }

  const AskedPath& asked_;
  const RestoreOptions& options_;
  CommandIo& io_;
  RunDisplay display_;
  TerminalDialogs dialogs_;
  std::atomic<bool> cancelled_{false};
};

Checked<Ending> RestoreRun::run() {
  LUMISK_TRY(const std::string destination, destination());
  LUMISK_TRY(const std::vector<Descriptor> locks, lockJobs(destination));
  LUMISK_TRY(const KnownVersions known, knownVersions(asked_, io_));
  LUMISK_TRY(const Restored restored, interruptible([&] { return restore(known, destination); }));
  return showEnd(restored, destination);
}

Checked<std::string> RestoreRun::destination() {
  if (options_.to.empty()) return asked_.path;
  LUMISK_TRY(const auto folders, absolutePaths({options_.to}, io_));
  if (!io_.files.openRoot(folders.front())) return refuse(folders.front(), "it is not a folder that can be opened");
  return paths::join(folders.front(), paths::lastComponent(asked_.path));
}

// The targets that versions lie in, and any that is written to.
Checked<std::vector<Descriptor>> RestoreRun::lockJobs(const std::string& destination) {
  auto locks = lockTargets(io_.files, targetsOfRestore(asked_, destination));
  if (!locks && locks.error().code == EWOULDBLOCK)
    return refuse(locks.error().path, "a run is writing there; restore when it has ended");
  return checked(std::move(locks));
}

// Numbered, or the newest that is not what stands there already.
Checked<std::optional<Version>> RestoreRun::choose(const KnownVersions& known, const std::string& destination) {
  if (!options_.number.empty()) {
    const auto count = known.versions.size();
    for (std::size_t i = 0; i < count; ++i)
      if (std::to_string(i + 1) == options_.number) return std::optional(known.versions[i]);
    return refuse(options_.number, fmt::format("there is no version of this number; there are {}", count));
  }
  NoJobLog quiet;
  for (const Version& version : known.versions) {
    if (version.path == destination) continue;
    const auto differs = differsFrom(services(quiet), version, destination);
    if (!differs) return fail(complaintOf(differs.error()));
    if (*differs) return std::optional(version);
  }
  return std::optional<Version>();
}

Checked<Restored> RestoreRun::restore(const KnownVersions& known, const std::string& destination) {
  Restored restored;
  LUMISK_TRY(restored.version, choose(known, destination));
  if (!restored.version || restored.version->path == destination) return restored;
  JobLogFile log(restored.version->place.job);
  // From here on no job of these sources is begun, so that none copies what is half restored.
  const RestoreHold hold(pluginListPath(), restored.version->path, destination);
  const std::string makeFoldersFrom =
      options_.to.empty() ? firstFolderToMake(restored.version->place, destination) : "";
  LUMISK_TRY(restored.report, checked(restoreVersion(services(log), *restored.version, destination, makeFoldersFrom)));
  if (options_.to.empty()) restored.newerCopy = newerCopyThan(*restored.version, known);
  return restored;
}

Checked<Restored> RestoreRun::interruptible(const std::function<Checked<Restored>()>& work) {
  const auto cancel = [this] { cancelled_ = true; };
  const auto interrupted = io_.loop.onSignal(SIGINT, cancel);
  const auto terminated = io_.loop.onSignal(SIGTERM, cancel);
  Checked<Restored> result;
  std::thread worker([&] {
    result = work();
    io_.loop.perform([this] { io_.loop.quit(); });
  });
  io_.loop.run();
  worker.join();
  if (!result && cancelled_) result.error().ending = Ending::kCancelled;
  return result;
}

Ending RestoreRun::showEnd(const Restored& restored, const std::string& destination) {
  const std::string shownPath = displayText(destination);
  if (!restored.version || !restored.report.wroteAnything) {
    io_.out << "Nothing to restore: " << shownPath << " is the same already\n";
  } else {
    const Version& version = *restored.version;
    io_.out << fmt::format("Restored {} from {} of {} ({})\n", shownPath, versionKindText(version),
                           versionDateText(version), displayText(version.path));
  }
  if (!restored.newerCopy.empty()) {
    io_.out << fmt::format("Note: the copy {} is newer, and jobs go by dates. `touch` the restored file to keep it.\n",
                           displayText(restored.newerCopy));
  }
  const std::uint64_t errors = restored.report.counts.errors;
  if (errors == 0) return Ending::kDone;
  io_.err << complaintLine({Ending::kIncomplete, destination,
                            fmt::format("{} entries could not be restored; see {}", countText(errors),
                                        jobLogPath(restored.version->place.job))})
          << '\n';
  return Ending::kIncomplete;
}

Checked<Ending> restore(const RestoreOptions& options, CommandIo& io) {
  LUMISK_TRY(const AskedPath asked, askedPath(options.path, io));
  return RestoreRun(asked, options, io).run();
}

}  // namespace

void addRestoreCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("restore", "Put an earlier version of a file or folder back");
  auto options = std::make_shared<RestoreOptions>();
  addText(*command, "PATH", options->path, "A path at a job's source, there or not, or the copy's in a target")
      ->required()
      ->type_name("");
  addText(*command, "--version", options->number,
          "Its number in `lumisk versions`; without it, the newest that is not what is there")
      ->type_name("N");
  addText(*command, "--to", options->to, "Put it into this folder instead of back to PATH")->type_name("DIR");
  chooseWhenNamed(*command, chosen, options, &restore);
}

}  // namespace lumisk
