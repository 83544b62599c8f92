#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "jobs/job_record.h"
#include "platform/file_calls.h"

namespace lumisk {

// The rules of two-way jobs: pure functions, values in, verdict out. "Standing" and "from" are the side that a pass
// reads, "missing" and "to" the side that it writes to.

// The last run of the job that completed, in nanoseconds since 1970.
struct CompletedRun {
  FileTime begin;
  FileTime end;
};

// Whether an entry's content is what it was during the last completed run. The modification date must be older than the
// run's begin (by more than a tick of the kernel's clock, since stamps may lag by one), and the inode's own change time
// no later than its end: that catches a file put there with an old date. Access times prove nothing.
[[nodiscard]] bool isUnchangedSince(const FileStatus& status, const CompletedRun& run);

// An entry whose counterpart is proven absent.
struct MissingQuestion {
  FileStatus standing;
  bool standingListed = false;  // each in the synced-entries list of its own side
  bool missingListed = false;
  bool insidePackageUnit = false;
  std::optional<CompletedRun> lastCompleted;  // empty: the job has never completed a run
};
enum class MissingVerdict {
  kCopy,
  // The counterpart was deleted since both were in step: the deletion is carried over. For a folder that is only half
  // of the proof: everything in it must be listed and unchanged, too.
  kDelete,
};
[[nodiscard]] MissingVerdict decideMissing(const MissingQuestion& question);

// An entry that stands on both sides.
struct PresentQuestion {
  FileStatus from;
  FileStatus to;
  std::chrono::nanoseconds granularity{1};
  bool compareSizes = false;  // the last run did not complete
  bool isForward = true;      // from the source to the target
  JobType jobType = JobType::kSyncWithRevisions;
  ConflictChoice choice = ConflictChoice::kNewerWins;  // for kSyncWithConflicts
  std::optional<FileTime> doubtedSince{};              // what was changed since may not be on the disk
};
enum class PresentVerdict {
  kInStep,        // the same date (and size) on both sides: may be listed
  kLeave,         // differs, but this pass does nothing about it
  kCopy,          // the earlier version is kept as the job says
  kCopyTrash,     // the earlier version goes to the Trash, whatever the job says
  kCopyBack,      // the other side wins: carried the other way now, this side's version goes to the Trash
  kKeepBoth,      // "to" is copied to its "(OLD)" name, then overwritten
  kKeepBothBack,  // "from" is copied to its "(OLD)" name on both sides; "to" stays
};
[[nodiscard]] PresentVerdict decidePresent(const PresentQuestion& question);
// Whether the answer depends on the conflict choice, so that the user may have to be asked first.
[[nodiscard]] bool isConflict(const PresentQuestion& question);

// Whether so many deletions are held back until the user lets them pass: more than `percent` of what their side held,
// and more than 20.
[[nodiscard]] bool mustHoldDeletions(std::uint64_t deletions, std::uint64_t entriesHeld, int percent);
inline constexpr int kDefaultBrakePercent = 50;

}  // namespace lumisk
