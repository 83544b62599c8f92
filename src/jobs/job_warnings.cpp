#include <map>

#include "jobs/job_checks.h"
#include "jobs/path_comparison.h"
#include "platform/byte_text.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

using Paths = std::vector<std::string>;

void warnAboutNames(const Paths& sources, std::vector<JobProblem>& warnings) {
  std::map<std::string, std::string> seen{{foldedName("Revision"), "Revision"}};
  for (const std::string& source : sources) {
    const std::string name = paths::lastComponent(source);
    const auto [other, isNew] = seen.emplace(foldedName(name), name);
    if (!isNew && other->second != name)
      warnings.push_back({source, "on some disks its name is the same as \"" + other->second + "\""});
  }
}

void warnAboutMeeting(const Paths& own, const Paths& theirs, const std::string& reason,
                      std::vector<JobProblem>& warnings) {
  for (const std::string& path : own) {
    for (const std::string& other : theirs) {
      if (compareStringPath(path, other, true)) {
        warnings.push_back({path, reason});
        break;
      }
    }
  }
}

}  // namespace

std::vector<JobProblem> jobWarnings(const QUORVELPREFERENCEINFO& job, const PropertyList::Array& jobs) {
  std::vector<JobProblem> warnings;
  warnAboutNames(job.sourcePaths, warnings);
  for (const PropertyList& stored : jobs) {
    QUORVELPREFERENCEINFO other;
    if (!jobFromDictionary(stored, other)) continue;
    if (!job.uuidString.empty() && other.uuidString == job.uuidString) continue;
    const std::string of = " the job \"" + other.name + "\"";
    warnAboutMeeting(job.targetPaths, other.targetPaths, "already serves as a target of" + of, warnings);
    warnAboutMeeting(job.targetPaths, other.sourcePaths, "already serves as a source of" + of, warnings);
    warnAboutMeeting(job.sourcePaths, other.targetPaths, "already serves as a target of" + of, warnings);
    // Two jobs may read one folder; a two-way job also writes its sources.
    if (isSync(job.jobType) || isSync(other.jobType))
      warnAboutMeeting(job.sourcePaths, other.sourcePaths, "already serves as a source of" + of, warnings);
  }
  return warnings;
}

}  // namespace lumisk
