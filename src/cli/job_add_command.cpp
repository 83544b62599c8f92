#include "cli/commands.h"
#include "cli/job_files.h"
#include "cli/job_options.h"
#include "cli/job_setup.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

struct JobAddOptions {
  std::string name;
  std::string type = "backup";
  std::vector<std::string> sources;
  std::vector<std::string> targets;
  GivenJobOptions job;
};

Checked<void> checkSchedule(const GivenJobOptions& given) {
  if (given.has("--weekdays") == given.has("--at")) return {};
  return given.has("--at") ? refuse("--at", "it needs --weekdays") : refuse("--weekdays", "it needs --at HH:MM");
}

Checked<QUORVELPREFERENCEINFO> newJob(const JobAddOptions& options, CommandIo& io) {
  LUMISK_TRY(const JobType type, parseJobType(options.type));
  LUMISK_CHECK(checkSchedule(options.job));
  QUORVELPREFERENCEINFO job = newJobDefaults(io.clock.now());
  // First, because the type has defaults of its own, which options may change.
  confirmNewJob(job, type);
  job.fileConflictType = ConflictChoice::kNewerWins;
  job.name = options.name;
  LUMISK_TRY(job.sourcePaths, absolutePaths(options.sources, io));
  LUMISK_TRY(job.targetPaths, absolutePaths(options.targets, io));
  job.bMultipleTargetFolder = job.targetPaths.size() > 1;
  LUMISK_CHECK(options.job.applyTo(job, {io.clock.now(), io.workingFolder}));
  LUMISK_CHECK(checkOptionsOfType(options.job, type));
  return job;
}

Checked<void> checkNewJob(const QUORVELPREFERENCEINFO& job, CommandIo& io) {
  LUMISK_CHECK(checkJob(job, io));
  LUMISK_CHECK(checkSourcesExist(job.sourcePaths));
  LUMISK_CHECK(checkVolumes(job));
  // A target inside an image is there only while the image is mounted.
  return job.dmgPath.empty() ? checkTargetsExist(job.targetPaths) : Checked<void>{};
}

Checked<void> append(JobStore& store, const QUORVELPREFERENCEINFO& job, CommandIo& io) {
  if (store.checkJobNameIsExist(job.name, JobStore::Editing::kNewJob)) {
    return refuse(job.name, "a job of this name exists already");
  }
  showWarnings(job, store.jobs(), io);
  // What an earlier job of this name copied is not this job's to delete.
  LUMISK_CHECK(removeFileList(io.files, job.name));
  store.m_currentInfo = job;
  if (!store.addPreferenceInfo(-1)) return storeFailed(store);
  return {};
}

Checked<Ending> jobAdd(const JobAddOptions& options, CommandIo& io) {
  LUMISK_TRY(const QUORVELPREFERENCEINFO job, newJob(options, io));
  LUMISK_CHECK(checkNewJob(job, io));
  StoreAccess access(io);
  LUMISK_CHECK(access.change([&](JobStore& store) { return append(store, job, io); }));
  io.out << "Added the job " << displayText(job.name) << '\n';
  return Ending::kDone;
}

}  // namespace

void addJobAddCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("add", "Make a job; without a schedule it runs in real time");
  auto options = std::make_shared<JobAddOptions>();
  addText(*command, "NAME", options->name, "The new job's name")->required();
  addText(*command, "--type", options->type, "backup (the default), sync-revisions, sync or clone")
      ->option_text("TYPE");
  addTexts(*command, "--source", options->sources, "Folders or files to copy")->required()->option_text("PATH..");
  addTexts(*command, "--target", options->targets, "One folder, or one for each source")
      ->required()
      ->option_text("PATH..");
  options->job.add(*command, scheduleOptions());
  options->job.add(*command, copyOptions());
  options->job.add(*command, syncOptions());
  options->job.add(*command, cloneOptions());
  options->job.add(*command, keptJobOptions());
  chooseWhenNamed(*command, chosen, options, &jobAdd);
}

}  // namespace lumisk
