#include "cli/terminal_run.h"

#include <fmt/format.h>

#include "app/foreground_run.h"
#include "app/keychain_images.h"
#include "app/stored_run_status.h"
#include "cli/instance_run.h"
#include "cli/run_display.h"
#include "cli/run_end.h"
#include "cli/run_summary.h"
#include "cli/terminal_dialogs.h"
#include "engine/work_pool.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

// The job as the worker takes it: its place among the stored ones, or alone.
struct JobToRun {
  QUORVELPREFERENCEINFO record;
  PropertyList::Array jobs;
  std::int32_t index = 0;
};

const char* dryRunWord(EntryOutcome outcome) {
  switch (outcome) {
    case EntryOutcome::kCopied:
      return "copy";
    case EntryOutcome::kReplaced:
      return "replace";
    case EntryOutcome::kSkipped:
      return "skip";
    case EntryOutcome::kFailed:
      return "fail";
    case EntryOutcome::kDeleted:
      return "delete";
    case EntryOutcome::kHeld:
      return "hold";
    case EntryOutcome::kUnchanged:
    case EntryOutcome::kFolderMade:
      break;
  }
  return nullptr;
}

class TerminalRun {
 public:
  TerminalRun(const JobToRun& job, const RunChoices& choices, CommandIo& io)
      : job_(job),
        choices_(choices),
        io_(io),
        display_(io, choices.dryRun || choices.json ? RunDisplay::Progress::kNever : RunDisplay::Progress::kOnTerminal),
        dialogs_(display_, job.record.fileConflictType),
        services_{io.files, io.clock, notifications_, dialogs_, images_, {}, {}, {}} {
    services_.threads = WorkPool::usualThreads();
    services_.clone.makeCloner = [this] { return makeCloneVolumeObject(dialogs_); };
  }

  // The status of the run is kept there, and what a run asks of its stored job is answered.
  void useStore(StoreAccess& access);
  Checked<Ending> run();

 private:
  RunOptions options();
  void showEntry(EntryOutcome outcome, const std::string& path, const std::string& reason);
  void stopRequested(int times);

  const JobToRun& job_;
  const RunChoices choices_;
  CommandIo& io_;
  RunDisplay display_;
  TerminalDialogs dialogs_;
  NotificationCenter notifications_;
  KeychainImages images_;
  WorkerServices services_;
  std::optional<StoredRunStatus> status_;
  bool statusIsKept_ = true;
};

void TerminalRun::useStore(StoreAccess& access) {
  services_.preference = [&access](const std::string& key) { return access.stored().preference(key); };
  services_.getDataBit = [&access](std::int32_t index) {
    std::uint32_t bits = 0;
    return access.stored().getDataBit(index, bits) ? bits : 0;
  };
  if (choices_.dryRun) return;
  access.sayWarningsWith([this](const std::string& warning) { display_.message("jobs", warning); });
  status_.emplace(io_.loop, notifications_, io_.clock, [this, &access](const auto& change) {
    const auto kept = access.change([&](JobStore& store) -> Checked<void> {
      change(store);
      if (store.lastError().operation.empty()) return {};
      return storeFailed(store);
    });
    if (!kept) display_.message(kept.error().what, kept.error().why);
    statusIsKept_ = statusIsKept_ && kept;
  });
}

Checked<Ending> TerminalRun::run() {
  ForegroundEvents events;
  events.onProgress = [this](const JobProgressMessage& message) { display_.progress(message); };
  events.onStopRequest = [this](int times) { stopRequested(times); };
  const auto report = runInForeground(io_.loop, services_, job_.jobs, job_.index, options(), events);
  display_.clearProgress();
  if (!report) return fail(complaintOf(report.error()));
  showRunEnd(job_.record.name, *report, choices_, display_, io_);
  const Ending ending = endingOf(*report);
  return ending == Ending::kDone && !statusIsKept_ ? Ending::kIncomplete : ending;
}

RunOptions TerminalRun::options() {
  RunOptions options = optionsOf(choices_);
  options.countsFirst = display_.showsProgress();
  if (choices_.dryRun && !choices_.json) {
    options.onEntry = [this](EntryOutcome outcome, const std::string& path, const std::string& reason) {
      showEntry(outcome, path, reason);
    };
  }
  return options;
}

void TerminalRun::showEntry(EntryOutcome outcome, const std::string& path, const std::string& reason) {
  if (const char* word = dryRunWord(outcome)) {
    display_.line(fmt::format("{:<8}{} ({})", word, displayText(path), displayText(reason)));
  }
}

void TerminalRun::stopRequested(int times) {
  dialogs_.stopAsking();
  display_.message(job_.record.name, times == 1 ? "stopping" : "already stopping; this takes a moment");
}

Checked<void> checkRun(const QUORVELPREFERENCEINFO& job, const RunChoices& choices) {
  if (job.jobType == JobType::kClone && choices.dryRun)
    return refuse("--dry-run", "a clone cannot be tried out without changing anything");
  return {};
}

// A clone that is to be made once goes when it has been made. An instance sees to that itself.
Checked<void> removeOneTimeClone(StoreAccess& access, const QUORVELPREFERENCEINFO& job) {
  if (!isOneTimeClone(job.jobType, job.scheduling_method)) return {};
  return access.change([&](JobStore& store) -> Checked<void> {
    const std::int32_t index = store.indexOfUuid(job.uuidString);
    if (index < 0 || store.deletePreferenceInfo(index)) return {};
    return storeFailed(store);
  });
}

Checked<JobToRun> storedJob(StoreAccess& access, const std::string& name) {
  JobToRun job;
  LUMISK_TRY(job.index, access.indexOf(name));
  job.jobs = access.store().jobs();
  const auto read = jobFromDictionary(job.jobs.at(static_cast<std::size_t>(job.index)), job.record);
  if (!read) return refuse(name, "the stored job cannot be read");
  return job;
}

}  // namespace

RunOptions optionsOf(const RunChoices& choices) {
  RunOptions options;
  options.pace = choices.pace;
  options.dryRun = choices.dryRun;
  options.allowDeletions = choices.allowDeletions;
  options.acceptTarget = choices.acceptTarget;
  options.acceptSource = choices.acceptSource;
  return options;
}

Checked<Ending> runStoredJob(StoreAccess& access, const std::string& name, const RunChoices& choices, CommandIo& io) {
  LUMISK_TRY(const JobToRun job, storedJob(access, name));
  LUMISK_CHECK(checkRun(job.record, choices));
  if (!choices.dryRun) {
    LUMISK_TRY(auto instance, access.instance());
    // A disabled job has no scheduler there that could run it.
    if (instance && job.record.bActive) return runThroughInstance(*instance, job.record, choices, io);
  }
  TerminalRun run(job, choices, io);
  run.useStore(access);
  const auto ending = run.run();
  if (ending && *ending == Ending::kDone && !choices.dryRun) LUMISK_CHECK(removeOneTimeClone(access, job.record));
  return ending;
}

Checked<Ending> runUnstoredJob(const QUORVELPREFERENCEINFO& job, const RunChoices& choices, CommandIo& io) {
  const JobToRun toRun{job, {jobToDictionary(job)}, 0};
  TerminalRun run(toRun, choices, io);
  return run.run();
}

}  // namespace lumisk
