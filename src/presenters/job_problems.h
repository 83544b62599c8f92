#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "jobs/job_checks.h"
#include "jobs/job_record.h"
#include "platform/workspace.h"

namespace lumisk {

// Where on the page of a job a problem stands, in the order of the page.
enum class JobField { kSources, kTarget, kSchedule, kName, kRevisions, kFilter };

struct FieldProblem {
  // kMissing: an answer is still to come, no reason to shout. kWarning: the job can be stored all the same.
  enum class Weight { kMissing, kWrong, kWarning };
  JobField field;
  Weight weight;
  std::string text;  // a sentence in the user's language
};
using FieldProblems = std::vector<FieldProblem>;

// The problems that the texts alone show. `jobs`: all that are stored, those with this job's uuid are this job.
[[nodiscard]] FieldProblems problemsOfTexts(const QUORVELPREFERENCEINFO& job, const PropertyList::Array& jobs);

struct DiskQuestions {
  FileCalls& files;
  std::function<Result<FileSystemInfo>(const std::string& path)> fileSystemInfo = workspace::fileSystemInfo;
};
// Those that need the disk: what is not there, or may not be written, and where the folders lie to each other. What
// the job had before may be away for the moment (a stick that is not plugged in): that is a warning. The paths have
// no problems as texts. `before`: null for a new job.
[[nodiscard]] FieldProblems problemsOnDisk(const DiskQuestions& disk, const QUORVELPREFERENCEINFO& job,
                                           const QUORVELPREFERENCEINFO* before);

// Of a reason that a check gives ("there is no source"), what is said to a person.
[[nodiscard]] std::string friendlyReason(const JobProblem& problem);

}  // namespace lumisk
