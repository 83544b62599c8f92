#include "app/job_list_check.h"

#include <algorithm>
#include <map>

#include "jobs/job_checks.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;

std::string nameOf(const PropertyList& job) {
  return job[kObjectNameKey].text();
}

std::string uuidOf(const PropertyList& job) {
  return job[kUuidStringKey].text();
}

// The job of that uuid; null when there is none.
const PropertyList* findUuid(const Array& jobs, const std::string& uuid) {
  const auto found =
      std::find_if(jobs.begin(), jobs.end(), [&](const PropertyList& job) { return uuidOf(job) == uuid; });
  return found == jobs.end() || uuid.empty() ? nullptr : &*found;
}

std::optional<std::string> textOf(const std::optional<JobProblem>& problem) {
  return problem ? std::optional(problem->subject + ": " + problem->reason) : std::nullopt;
}

// What makes a new job, or new places, wrong must not keep an old job from being disabled.
std::optional<std::string> problemOfJob(const PropertyList* before, const PropertyList& after) {
  QUORVELPREFERENCEINFO record;
  if (!jobFromDictionary(after, record)) return nameOf(after) + ": the job cannot be read";
  if (!before || nameOf(*before) != record.name) {
    if (auto problem = textOf(checkJobName(record.name))) return problem;
  }
  if (before && (*before)[kBackupFoldersKey] == after[kBackupFoldersKey]) return std::nullopt;
  return textOf(checkJobPaths(record));
}

template <class Key>
std::map<std::string, int> countsOf(const Array& jobs, Key keyOf) {
  std::map<std::string, int> counts;
  for (const PropertyList& job : jobs) ++counts[keyOf(job)];
  return counts;
}

// A text that several jobs have, and fewer had before.
template <class Key>
std::optional<std::string> newlyShared(const Array& before, const Array& after, Key keyOf) {
  auto earlier = countsOf(before, keyOf);
  for (const auto& [text, count] : countsOf(after, keyOf)) {
    if (count > 1 && count > earlier[text] && !text.empty()) return text;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> problemOfJobList(const Array& before, const Array& after) {
  for (const PropertyList& job : after) {
    if (std::find(before.begin(), before.end(), job) != before.end()) continue;
    if (auto problem = problemOfJob(findUuid(before, uuidOf(job)), job)) return problem;
  }
  if (const auto name = newlyShared(before, after, nameOf)) return *name + ": a job of this name exists already";
  if (newlyShared(before, after, uuidOf)) return "two jobs would have the same identifier";
  return std::nullopt;
}

std::vector<std::string> namesOfRemovedJobs(const Array& before, const Array& after) {
  const auto names = countsOf(after, nameOf);
  std::vector<std::string> removed;
  for (const PropertyList& job : before) {
    if (!findUuid(after, uuidOf(job)) && !names.contains(nameOf(job))) removed.push_back(nameOf(job));
  }
  return removed;
}

std::vector<std::string> namesOfNewJobs(const Array& before, const Array& after) {
  std::vector<std::string> added;
  for (const PropertyList& job : after) {
    const bool isKnown = uuidOf(job).empty() || findUuid(before, uuidOf(job));
    if (!isKnown) added.push_back(nameOf(job));
  }
  return added;
}

std::vector<JobRenaming> renamingsOf(const Array& before, const Array& after) {
  const auto earlier = countsOf(before, nameOf), names = countsOf(after, nameOf);
  std::vector<JobRenaming> renamings;
  for (const PropertyList& job : after) {
    const PropertyList* const was = findUuid(before, uuidOf(job));
    if (!was || nameOf(*was) == nameOf(job)) continue;
    renamings.push_back({nameOf(*was), nameOf(job), earlier.contains(nameOf(job)) || names.contains(nameOf(*was))});
  }
  return renamings;
}

}  // namespace lumisk
