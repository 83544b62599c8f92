#include <filesystem>

#include "cli/commands.h"
#include "cli/job_options.h"
#include "cli/job_setup.h"
#include "cli/options.h"
#include "cli/run_options.h"
#include "platform/byte_text.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

struct SyncCommandOptions {
  std::string source;
  std::string target;
  std::string name;  // empty: found by its folders, or made up
  GivenJobOptions job;
  RunFlags run;
};

struct Folders {
  std::string source;
  std::string target;
};

Checked<Folders> foldersOf(const SyncCommandOptions& options, CommandIo& io) {
  LUMISK_TRY(const auto paths, absolutePaths({options.source, options.target}, io));
  LUMISK_CHECK(checkSourcesExist({paths[0]}));
  LUMISK_CHECK(checkTarget(paths[1]));
  return Folders{paths[0], paths[1]};
}

bool keepsInStep(const QUORVELPREFERENCEINFO& job, const Folders& folders) {
  return isSync(job.jobType) && job.sourcePaths == std::vector{folders.source} &&
         job.targetPaths == std::vector{folders.target};
}

// The stored job for these folders, by its name where one was given; -1 when it has to be made.
Checked<std::int32_t> findJob(JobStore& store, const std::string& name, const Folders& folders) {
  for (std::int32_t index = 0; index < store.count(); ++index) {
    if (!store.fetchPreferenceInfo(index, JobStore::Locking::kTake)) continue;
    const QUORVELPREFERENCEINFO& job = store.m_currentInfo;
    if (!name.empty() && job.name != name) continue;
    if (keepsInStep(job, folders)) return index;
    if (!name.empty()) return refuse(name, "a job of this name exists already, with other folders");
  }
  return -1;
}

std::string freeName(JobStore& store, const Folders& folders) {
  const std::string base = "sync " + paths::lastComponent(folders.source);
  std::string name = base;
  for (int further = 2; store.checkJobNameIsExist(name, JobStore::Editing::kNewJob); ++further)
    name = base + " " + std::to_string(further);
  return name;
}

QUORVELPREFERENCEINFO newJob(JobStore& store, const std::string& name, const Folders& folders, CommandIo& io) {
  QUORVELPREFERENCEINFO job = newJobDefaults(io.clock.now());
  confirmNewJob(job, JobType::kSyncWithConflicts);
  job.name = name.empty() ? freeName(store, folders) : name;
  job.sourcePaths = {folders.source};
  job.targetPaths = {folders.target};
  job.scheduling_method = SchedulingMethod::kNone;
  job.fileConflictType = ConflictChoice::kNewerWins;
  job.bDisplayWarning = false;  // how full the target is was not asked
  return job;
}

// Makes the job, or changes what the options say otherwise; its name.
Checked<std::string> keepJob(JobStore& store, const SyncCommandOptions& options, const Folders& folders,
                             CommandIo& io) {
  LUMISK_TRY(const std::int32_t index, findJob(store, options.name, folders));
  if (index >= 0 && options.job.isEmpty()) return store.m_currentInfo.name;
  if (index < 0) store.m_currentInfo = newJob(store, options.name, folders, io);
  const PropertyList before = jobToDictionary(store.m_currentInfo);
  LUMISK_CHECK(options.job.applyTo(store.m_currentInfo, {io.clock.now(), io.workingFolder}));
  LUMISK_CHECK(checkJob(store.m_currentInfo, io));
  const std::string name = store.m_currentInfo.name;
  if (index >= 0 && jobToDictionary(store.m_currentInfo) == before) return name;
  if (!(index < 0 ? store.addPreferenceInfo(-1) : store.storePreferenceInfo(index))) return storeFailed(store);
  return name;
}

// What a run would do, without making the job or the target.
Checked<Ending> look(const SyncCommandOptions& options, const Folders& folders, const RunChoices& choices,
                     CommandIo& io) {
  LUMISK_CHECK(checkTargetsExist({folders.target}));
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  LUMISK_TRY(const std::int32_t index, findJob(*store, options.name, folders));
  QUORVELPREFERENCEINFO job = index < 0 ? newJob(*store, options.name, folders, io) : store->m_currentInfo;
  LUMISK_CHECK(options.job.applyTo(job, {io.clock.now(), io.workingFolder}));
  LUMISK_CHECK(checkJob(job, io));
  return runUnstoredJob(job, choices, io);
}

Checked<Ending> sync(const SyncCommandOptions& options, CommandIo& io) {
  LUMISK_TRY(const RunChoices choices, runChoices(options.run));
  LUMISK_TRY(const Folders folders, foldersOf(options, io));
  if (choices.dryRun) return look(options, folders, choices, io);
  std::error_code error;
  std::filesystem::create_directory(folders.target, error);
  if (error) return fail(complaintOf(Error{"make the target folder", folders.target, error.value(), ""}));
  StoreAccess access(io);
  std::string name;
  LUMISK_CHECK(access.change([&](JobStore& store) -> Checked<void> {
    LUMISK_TRY(name, keepJob(store, options, folders, io));
    return {};
  }));
  return runStoredJob(access, name, choices, io);
}

}  // namespace

void addSyncCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("sync", "Keep two folders in step: makes a job once, runs it each time");
  auto options = std::make_shared<SyncCommandOptions>();
  addText(*command, "SOURCE", options->source, "One folder")->required()->type_name("");
  addText(*command, "TARGET", options->target, "The other; it is made where missing")->required()->type_name("");
  addText(*command, "--name", options->name, "The job's name, where the folders do not tell it")->type_name("NAME");
  options->job.add(*command, syncOptions());
  options->job.add(*command, copyOptions());
  addRunFlags(*command, options->run);
  chooseWhenNamed(*command, chosen, options, &sync);
}

}  // namespace lumisk
