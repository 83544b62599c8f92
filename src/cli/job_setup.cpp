#include "cli/job_setup.h"

#include <filesystem>

#include "jobs/clone_checks.h"
#include "jobs/job_checks.h"
#include "platform/mount_table.h"
#include "platform/paths.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

namespace fs = std::filesystem;

Checked<void> refuseProblem(const std::optional<JobProblem>& problem) {
  if (!problem) return {};
  return refuse(problem->subject.empty() ? "job" : problem->subject, problem->reason);
}

// A path whose state cannot be told is neither there nor missing.
Checked<void> checkKnown(const std::string& path, const fs::file_status& status, const std::error_code& error) {
  if (status.type() == fs::file_type::not_found || !error) return {};
  return refuse(path, error.message());
}

}  // namespace

Checked<std::vector<std::string>> absolutePaths(const std::vector<std::string>& paths, const CommandIo& io) {
  std::vector<std::string> absolute;
  for (const std::string& path : paths) {
    if (path.empty()) return refuse("path", "it is empty");
    if (path.front() != '/' && io.workingFolder.empty()) return refuse(path, "the current folder is gone");
    absolute.push_back(paths::normalised(path, io.workingFolder));
  }
  return absolute;
}

Checked<void> checkSourcesExist(const std::vector<std::string>& sources) {
  for (const std::string& source : sources) {
    std::error_code error;
    const auto status = fs::symlink_status(source, error);
    LUMISK_CHECK(checkKnown(source, status, error));
    if (status.type() == fs::file_type::not_found) return refuse(source, "the source does not exist");
  }
  return {};
}

Checked<TargetState> checkTarget(const std::string& target) {
  std::error_code error;
  const auto status = fs::status(target, error);
  LUMISK_CHECK(checkKnown(target, status, error));
  if (status.type() == fs::file_type::directory) return TargetState::kExists;
  if (status.type() != fs::file_type::not_found) return refuse(target, "the target is not a folder");
  const std::string parent = paths::parent(target);
  if (!fs::is_directory(parent, error)) return refuse(target, "neither the target nor the folder above it exists");
  // What should have been mounted there is not: a folder in its place would fill the wrong disk.
  if (workspace::isVolumesFolder(parent)) return refuse(target, "no such volume is mounted");
  return TargetState::kCanBeMade;
}

Checked<void> checkTargetsExist(const std::vector<std::string>& targets) {
  for (const std::string& target : targets) {
    LUMISK_TRY(const TargetState state, checkTarget(target));
    if (state != TargetState::kExists) return refuse(target, "the target folder does not exist");
  }
  return {};
}

void showWarnings(const QUORVELPREFERENCEINFO& job, const PropertyList::Array& jobs, CommandIo& io) {
  for (const JobProblem& warning : jobWarnings(job, jobs)) {
    io.err << complaintLine({Ending::kDone, warning.subject, "warning: " + warning.reason}) << '\n';
  }
}

Checked<void> checkOptionsOfType(const GivenJobOptions& given, JobType type) {
  const char* const ofClones = given.firstOf(cloneOptions());
  if (type != JobType::kClone) return ofClones ? refuse(ofClones, "only a clone takes it") : Checked<void>{};
  if (given.has("--realtime")) return refuse("--realtime", "a clone runs at times or when it is asked to");
  if (given.has("--image")) return refuse("--image", "a clone's target is a volume");
  if (const char* const ofFiles = given.firstOf(copyOptions()))
    return refuse(ofFiles, "a clone carries the whole volume");
  return {};
}

Checked<void> checkVolumes(const QUORVELPREFERENCEINFO& job) {
  if (job.jobType != JobType::kClone) return {};
  const auto mounts = mountTable();
  if (!mounts) return fail(complaintOf(mounts.error()));
  return refuseProblem(checkCloneJob(job.name, job.sourcePaths, job.targetPaths, *mounts));
}

Checked<void> checkJob(const QUORVELPREFERENCEINFO& job, CommandIo& io) {
  LUMISK_CHECK(refuseProblem(checkJobName(job.name)));
  LUMISK_CHECK(refuseProblem(checkJobPaths(job)));
  if (job.bRetainFullPath && job.jobType == JobType::kSyncWithConflicts) {
    return refuse("--full-path", "a two-way job with conflict handling keeps no full paths");
  }
  const auto computer = job.otherKeys.find(kComputerNameKey);
  return refuseProblem(checkJobFolders(io.files, job.jobType, job.bRetainFullPath, job.sourcePaths, job.targetPaths,
                                       computer == job.otherKeys.end() ? "" : computer->second.text()));
}

}  // namespace lumisk
