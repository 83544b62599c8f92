#include "cli/commands.h"
#include "cli/job_options.h"
#include "cli/job_setup.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

struct JobEditOptions {
  std::string name;
  std::vector<std::string> sources;  // empty: they stay
  std::vector<std::string> targets;
  GivenJobOptions job;
};

bool changesFolders(const JobEditOptions& options) {
  return !options.sources.empty() || !options.targets.empty();
}

Checked<void> changeFolders(const JobEditOptions& options, QUORVELPREFERENCEINFO& job, CommandIo& io) {
  LUMISK_TRY(auto sources, absolutePaths(options.sources, io));
  LUMISK_TRY(auto targets, absolutePaths(options.targets, io));
  if (!sources.empty()) job.sourcePaths = std::move(sources);
  if (!targets.empty()) job.targetPaths = std::move(targets);
  job.bMultipleTargetFolder = job.targetPaths.size() > 1;
  if (!options.sources.empty()) LUMISK_CHECK(checkSourcesExist(job.sourcePaths));
  if (!options.targets.empty() && job.dmgPath.empty()) LUMISK_CHECK(checkTargetsExist(job.targetPaths));
  LUMISK_CHECK(checkVolumes(job));
  // What the other folders hold says nothing about these.
  job.bFirstCopy = true;
  return {};
}

Checked<void> changeSettings(const JobEditOptions& options, QUORVELPREFERENCEINFO& job, CommandIo& io) {
  LUMISK_CHECK(options.job.applyTo(job, {io.clock.now(), io.workingFolder}));
  LUMISK_CHECK(checkOptionsOfType(options.job, job.jobType));
  if (changesFolders(options)) LUMISK_CHECK(changeFolders(options, job, io));
  const bool hasTimeOnly = options.job.has("--at") && job.scheduling_method != SchedulingMethod::kWeekDays;
  if (hasTimeOnly) return refuse("--at", "it needs --weekdays");
  return checkJob(job, io);
}

Checked<void> store(const JobEditOptions& options, StoreAccess& access, CommandIo& io) {
  JobStore& jobs = access.store();
  LUMISK_TRY(const std::int32_t index, access.indexOf(options.name));
  if (!jobs.fetchPreferenceInfo(index, JobStore::Locking::kTake)) {
    return refuse(options.name, "the stored job cannot be read");
  }
  LUMISK_CHECK(changeSettings(options, jobs.m_currentInfo, io));
  if (changesFolders(options)) showWarnings(jobs.m_currentInfo, jobs.jobs(), io);
  if (!jobs.storePreferenceInfo(index)) return storeFailed(jobs);
  return {};
}

Checked<Ending> jobEdit(const JobEditOptions& options, CommandIo& io) {
  if (options.job.isEmpty() && !changesFolders(options)) return refuse(options.name, "nothing to change was given");
  StoreAccess access(io);
  LUMISK_CHECK(access.change([&](JobStore&) { return store(options, access, io); }));
  io.out << "Changed the job " << displayText(options.name) << '\n';
  return Ending::kDone;
}

}  // namespace

void addJobEditCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("edit", "Change settings of a job; what is not given stays");
  auto options = std::make_shared<JobEditOptions>();
  addText(*command, "NAME", options->name, "The job's name")->required();
  addTexts(*command, "--source", options->sources, "Other folders or files to copy")->option_text("PATH..");
  addTexts(*command, "--target", options->targets, "Another folder, or one for each source")->option_text("PATH..");
  options->job.add(*command, scheduleOptions());
  options->job.add(*command, copyOptions());
  options->job.add(*command, syncOptions());
  options->job.add(*command, cloneOptions());
  options->job.add(*command, keptJobOptions());
  chooseWhenNamed(*command, chosen, options, &jobEdit);
}

}  // namespace lumisk
