#include "presenters/source_addition.h"

#include <algorithm>

#include "jobs/job_checks.h"
#include "platform/byte_text.h"
#include "platform/paths.h"
#include "platform/translation.h"

namespace lumisk {
namespace {

std::string textOf(const JobProblem& problem) {
  return displayText(problem.subject) + ": " + problem.reason;
}

void addMissing(QUORVELPREFERENCEINFO& job, const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    const std::string source = paths::normalised(path, "/");
    const bool isKnown = std::find(job.sourcePaths.begin(), job.sourcePaths.end(), source) != job.sourcePaths.end();
    if (!isKnown) job.sourcePaths.push_back(source);
  }
}

}  // namespace

JobsBoard::Refusal addSourcesToJob(JobsBoard& board, FileCalls& files, const std::string& uuid,
                                   const std::vector<std::string>& paths) {
  const auto jobs = board.jobs();
  const auto found = std::find_if(jobs.begin(), jobs.end(), [&](const BoardJob& job) { return job.uuid == uuid; });
  if (found == jobs.end()) return translated("The job is gone.");
  QUORVELPREFERENCEINFO job;
  if (!jobFromDictionary(found->stored, job)) return translated("The stored job cannot be read.");
  if (job.bMultipleTargetFolder) return translated("Each source of this job has a target of its own: edit it instead.");
  addMissing(job, paths);
  if (const auto problem = checkJobPaths(job)) return textOf(*problem);
  const std::string computer = found->stored[kComputerNameKey].text();
  if (const auto problem =
          checkJobFolders(files, job.jobType, job.bRetainFullPath, job.sourcePaths, job.targetPaths, computer)) {
    return textOf(*problem);
  }
  return board.edit(found->stored, job);
}

}  // namespace lumisk
