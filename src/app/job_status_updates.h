#pragma once

#include <cstdint>
#include <string>

#include "jobs/job_store.h"
#include "platform/clock.h"

namespace lumisk {

// What the events of a run change in a stored job, and what the job list shows of it.
//
// The updates run on the main thread. They do nothing for an index out of range; the first two nothing when the flag is
// not 0. True when the job is stored as asked; jobs.lastError() tells a failed write from a job that is not there.

// A run started: its begin, the status, no cancel status. `begin`, in the stored form, is the one that the run itself
// goes by; empty: this moment.
bool setStartJobStatus(JobStore& jobs, const Clock& clock, std::int32_t index, JobStatus status, std::int32_t flag,
                       const std::string& begin = {});
// A run ended. With status kCompleted, also the time of the last run, and the first copy is over.
bool setJobStatus(JobStore& jobs, const Clock& clock, std::int32_t index, JobStatus status, std::int32_t flag);
// A run was cancelled or had an error. With kNone, the same as a completed run besides.
bool setCancelStatus(JobStore& jobs, const Clock& clock, std::int32_t index, CancelStatus status);

// A run completed: not cancelled, without an error, and its data have reached the disk. `begin` is when it began, in
// the stored form; anything else is refused, because decisions go by it.
bool setLastCompletedBegin(JobStore& jobs, std::int32_t index, const std::string& begin);

// A run ended with nothing more to say: the status and the time of the last run, and `keys`, what the run has learned
// (below). With `completedBegin` not empty it completed, as above; with kCancelled it was cancelled, also where that
// was asked for before its start had been told. One write for all of it.
bool setRunEnded(JobStore& jobs, const Clock& clock, std::int32_t index, const PropertyList::Dictionary& keys,
                 const std::string& completedBegin, CancelStatus cancel = CancelStatus::kNone);

// What a run has learned about its job, by the keys of the stored dictionary.
bool setRunKeys(JobStore& jobs, std::int32_t index, const PropertyList::Dictionary& keys);

// The texts of a stored job in the list while it does not run: "Never Ran", or a word, a line break and the last run.
[[nodiscard]] std::string statusText(const PropertyList& job);
// In place of its progress, of a running job that reported an error.
inline constexpr const char* kErrorProgressText = "Generate error";
// The job's paths, one per line. Of more targets than `mostTargets` the list is cut short and ends with
// " . . . . . .".
[[nodiscard]] std::string sourceColumnText(const PropertyList& job);
[[nodiscard]] std::string targetColumnText(const PropertyList& job, std::size_t mostTargets);

}  // namespace lumisk
