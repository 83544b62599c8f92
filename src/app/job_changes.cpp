#include "app/job_changes.h"

#include <algorithm>
#include <set>

#include "jobs/job_record.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

// What runs write. That a run has begun or ended meanwhile is no reason to keep a job that shall go.
const std::set<std::string, std::less<>>& keysOfRuns() {
  static const std::set<std::string, std::less<>> keys{kLastRanTimeKey,
                                                       kLastBeginTimeKey,
                                                       kJobStatusKey,
                                                       kCancelStatusKey,
                                                       kFirstCopyKey,
                                                       kDataBitKey,
                                                       kLastCompletedBeginKey,
                                                       kMarkedTargetsKey,
                                                       kLastCompletedBeginNanosecondsKey,
                                                       kRootFileSystemsKey,
                                                       kCapacityWarnedKey,
                                                       kLastCompletedEndNanosecondsKey,
                                                       kDoubtedSinceNanosecondsKey};
  return keys;
}

bool isJob(const PropertyList& value) {
  return value.kind() == PropertyList::Kind::kDictionary;
}

std::string nameOf(const PropertyList& job) {
  return job[kObjectNameKey].text();
}

// A job without an identifier is another job under another name.
bool isSameJob(const PropertyList& one, const PropertyList& other) {
  const std::string uuid = one[kUuidStringKey].text();
  if (uuid != other[kUuidStringKey].text()) return false;
  return !uuid.empty() || nameOf(one) == nameOf(other);
}

// The same job in an array. Of two with one identifier (a list that was put together by hand), the one of the same
// name.
Array::iterator findJob(Array& jobs, const PropertyList& job) {
  const auto isThis = [&](const PropertyList& other) { return isJob(other) && isSameJob(other, job); };
  const auto exact = std::find_if(jobs.begin(), jobs.end(), [&](const PropertyList& other) {
    return isThis(other) && nameOf(other) == nameOf(job);
  });
  return exact != jobs.end() ? exact : std::find_if(jobs.begin(), jobs.end(), isThis);
}

// The keys whose values differ; a missing one differs from every other.
std::set<std::string> differingKeys(const PropertyList& one, const PropertyList& other) {
  std::set<std::string> keys;
  for (const auto* job : {&one, &other}) {
    for (const auto& entry : job->dictionary()) {
      if (one[entry.first] != other[entry.first]) keys.insert(entry.first);
    }
  }
  return keys;
}

MergeVerdict checkChange(const PropertyList& change) {
  const PropertyList& before = change[kChangeBeforeKey];
  const PropertyList& after = change[kChangeAfterKey];
  const bool hasForm = (before.isNone() || isJob(before)) && (after.isNone() || isJob(after));
  if (!hasForm || (before.isNone() && after.isNone())) return MergeVerdict::kNotUnderstood;
  if (!before.isNone() && !after.isNone() && !isSameJob(before, after)) return MergeVerdict::kNotUnderstood;
  QUORVELPREFERENCEINFO record;
  const bool isReadable = !before.isNone() || (jobFromDictionary(after, record) && !record.name.empty());
  return isReadable ? MergeVerdict::kMerged : MergeVerdict::kNotUnderstood;
}

MergeVerdict add(const PropertyList& job, Array& jobs) {
  if (findJob(jobs, job) != jobs.end()) return MergeVerdict::kConflict;
  jobs.push_back(job);
  return MergeVerdict::kMerged;
}

MergeVerdict remove(const PropertyList& job, Array& jobs) {
  const auto found = findJob(jobs, job);
  if (found == jobs.end()) return MergeVerdict::kConflict;
  if (differInSettings(job, *found)) return MergeVerdict::kConflict;
  jobs.erase(found);
  return MergeVerdict::kMerged;
}

MergeVerdict edit(const PropertyList& before, const PropertyList& after, Array& jobs) {
  const auto found = findJob(jobs, before);
  if (found == jobs.end()) return MergeVerdict::kConflict;
  Dictionary& stored = found->mutableDictionary();
  for (const std::string& key : differingKeys(before, after)) {
    const PropertyList value = (*found)[key];
    if (value != before[key] && value != after[key]) return MergeVerdict::kConflict;
    if (after[key].isNone()) {
      stored.erase(key);
    } else {
      stored[key] = after[key];
    }
  }
  return MergeVerdict::kMerged;
}

MergeVerdict carryOut(const PropertyList& change, Array& jobs) {
  const PropertyList& before = change[kChangeBeforeKey];
  const PropertyList& after = change[kChangeAfterKey];
  if (before.isNone()) return add(after, jobs);
  return after.isNone() ? remove(before, jobs) : edit(before, after, jobs);
}

// Two that made the same name free of clashes each for itself.
bool givesNameOfAnother(const PropertyList& change, const Array& jobs) {
  const PropertyList& after = change[kChangeAfterKey];
  if (after.isNone() || (!change[kChangeBeforeKey].isNone() && nameOf(change[kChangeBeforeKey]) == nameOf(after)))
    return false;
  return std::count_if(jobs.begin(), jobs.end(),
                       [&](const PropertyList& job) { return isJob(job) && nameOf(job) == nameOf(after); }) > 1;
}

}  // namespace

// Removals first: a name may pass from one job to another.
PropertyList::Array jobChanges(const Array& before, const Array& after) {
  Array removals, others, gone = before;
  std::erase_if(gone, [](const PropertyList& job) { return !isJob(job); });
  for (const PropertyList& job : after) {
    if (!isJob(job)) continue;
    const auto old = findJob(gone, job);
    if (old == gone.end()) others.push_back(Dictionary{{kChangeAfterKey, job}});
    if (old == gone.end()) continue;
    if (*old != job) others.push_back(Dictionary{{kChangeBeforeKey, *old}, {kChangeAfterKey, job}});
    gone.erase(old);
  }
  for (PropertyList& job : gone) removals.push_back(Dictionary{{kChangeBeforeKey, std::move(job)}});
  removals.insert(removals.end(), others.begin(), others.end());
  return removals;
}

MergeVerdict mergeJobChanges(const Array& changes, Array& jobs) {
  Array merged = jobs;
  for (const PropertyList& change : changes) {
    if (const auto verdict = checkChange(change); verdict != MergeVerdict::kMerged) return verdict;
    if (const auto verdict = carryOut(change, merged); verdict != MergeVerdict::kMerged) return verdict;
  }
  for (const PropertyList& change : changes) {
    if (givesNameOfAnother(change, merged)) return MergeVerdict::kConflict;
  }
  jobs = std::move(merged);
  return MergeVerdict::kMerged;
}

bool differInSettings(const PropertyList& one, const PropertyList& other) {
  const auto differing = differingKeys(one, other);
  return std::any_of(differing.begin(), differing.end(),
                     [](const std::string& key) { return !keysOfRuns().contains(key); });
}

}  // namespace lumisk
