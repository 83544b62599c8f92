#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "engine/run_state.h"

namespace lumisk {

// What a worker is asked for.
enum class CopyMethod : int { kNothing = -1, kNormal = 0, kUnmountableSources = 1, kListenedFolders = 2 };

// How the next run differs from the usual.
struct RunOptions {
  PaceKind pace = PaceKind::kGentle;
  // Nothing is written: no log, no dialog, no image is mounted, no lock is taken. Of the notifications only the
  // progress and "scheduleThreadObject notification" (a run ended) are posted. counts.copied tells what would be
  // copied.
  bool dryRun = false;
  bool allowDeletions = false;  // this once, however many there are
  bool acceptTarget = false;    // this once, a target without the job's marker is meant
  bool acceptSource = false;    // this once, sources on other file systems than before are meant
  bool countsFirst = true;      // false: nobody watches, so the progress need not know the total beforehand
  std::function<void(EntryOutcome, const std::string& path, const std::string& reason)> onEntry{};
};

// How a run ended, for whoever waits for it.
struct RunReport {
  std::uint64_t request = 0;  // the number of the request that it answers; 0 where nobody asked
  bool completed = false;     // not cancelled, no error, no problem with a path, and the data are on the disk
  bool wholeJob = true;       // false: sources were left out because the request did not ask for them
  bool cancelled = false;     // by the user, or because the worker was stopped
  bool refused = false;       // nothing was walked; problemText says why
  bool targetLocked = false;  // refused because another run writes to a target
  bool held = false;          // deletions were held back
  bool sourceProblem = false;
  bool targetProblem = false;
  bool placeInDoubt = false;  // the problem that is told: a place is not the one that the job knows
  std::string problemPath;
  std::string problemText;  // one line, when the run was refused or a path failed
  RunError errorCode = RunError::kNone;
  RunCounts counts;
  double seconds = 0;
  // What the run has learned about its job, by the keys of the stored dictionary. The worker goes by it from then on
  // and posts it with the finish.
  PropertyList::Dictionary jobKeys;
};

}  // namespace lumisk
