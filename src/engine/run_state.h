#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "engine/completed_passes.h"
#include "engine/job_log.h"
#include "engine/job_progress_message.h"
#include "engine/pace.h"
#include "engine/pause_switch.h"
#include "engine/two_way_rule.h"
#include "engine/written_data.h"
#include "jobs/job_views.h"
#include "platform/file_calls.h"
#include "platform/user_dialogs.h"

namespace lumisk {

class WorkPool;

// Values of m_nErrorCode.
enum class RunError : std::int32_t {
  kNone = 0,
  kDirectoryCreation = 1,
  kFileCopy = 2,
  kSymbolicLink = 3,
  kClone = 4,
  kOutOfSpace = 980,
};

struct RunCounts {
  std::uint64_t entries = 0;  // looked at
  std::uint64_t copied = 0;   // files and links newly made or replaced
  std::uint64_t bytes = 0;    // of data written
  std::uint64_t deleted = 0;
  std::uint64_t held = 0;       // deletions held back
  std::uint64_t revisions = 0;  // earlier versions kept
  std::uint64_t skipped = 0;    // left out by name, type or filter
  std::uint64_t errors = 0;
  std::uint64_t losses = 0;  // files, links and folders whose owner or attributes the target could not hold
};

// What happened, or would happen, to one entry.
enum class EntryOutcome { kCopied, kReplaced, kUnchanged, kSkipped, kFailed, kDeleted, kHeld, kFolderMade };

// What everything that takes part in one run shares. Made by the worker for each run, lives on its stack, passed by
// reference. The stop flags may be set from any thread; all else belongs to the run's thread.
struct RunState {
  RunState(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& jobInfo, FileCalls& fileCalls, Clock& runClock,
           Pace runPace, JobLog& jobLog, UserDialogs& userDialogs)
      : info(jobInfo),
        files(fileCalls),
        clock(runClock),
        pace(runPace),
        log(jobLog),
        dialogs(userDialogs),
        written(fileCalls) {}

  const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info;
  FileCalls& files;
  Clock& clock;
  Pace pace;
  JobLog& log;
  UserDialogs& dialogs;
  WrittenData written;
  WorkPool* pool = nullptr;  // may be missing: then all is done on the run's thread

  // Owned by the worker, which outlives the run.
  const std::atomic<bool>* terminate = nullptr;
  const std::atomic<bool>* cancelled = nullptr;
  [[nodiscard]] bool mustStop() const {
    return (terminate && terminate->load(std::memory_order_relaxed)) ||
           (cancelled && cancelled->load(std::memory_order_relaxed));
  }
  PauseSwitch* pause = nullptr;  // the worker's; may be missing
  // While the run is paused and not to end. For all its threads, where nothing that was proven is about to be used.
  // True when it has waited: what was asked before is old.
  bool waitWhilePaused() const {
    return pause && pause->isSet() && pause->wait([this] { return mustStop(); });
  }

  bool dryRun = false;                        // decide and report, change nothing
  bool compareSizes = false;                  // the last run did not complete: equal dates prove nothing
  std::optional<FileTime> doubtedSince;       // what was changed since may not have reached the disk
  WallTime begin{};                           // when this run began
  std::optional<CompletedRun> lastCompleted;  // the last run of the whole job that completed; empty: none did
  const CompletedPasses* passes = nullptr;    // that have completed since; may be missing
  // The last completed run that has looked at this folder, on either side.
  [[nodiscard]] std::optional<CompletedRun> lastCompletedIn(const std::string& folder) const {
    return lastCompleted && passes ? passes->lastIn(folder, *lastCompleted) : lastCompleted;
  }

  RunCounts counts;
  std::vector<std::string> heldPaths;  // of the deletions that are held back: the first so many
  static constexpr std::size_t kMostHeldPaths = 2000;
  std::uint64_t m_nFileCount = 0;
  std::uint64_t m_nFileTotal = 0;
  int m_nFilterCount = 0;  // nesting depth of packages handled as a unit
  RunError m_nErrorCode = RunError::kNone;

  void noteHeld(const std::string& path) {
    if (heldPaths.size() < kMostHeldPaths) heldPaths.push_back(path);
  }
  // An error of one entry: counted; the code is kept, except that 980 outranks the others.
  void noteError(RunError code);
  // Lack of space on the target: the code becomes 980. Counts nothing: the entry's error is noted by whoever handles
  // it.
  void noteOutOfSpace();
  std::function<void()> onOutOfSpace;  // told each time; shows the warning once per worker; may be empty

  // Whether so many bytes may be written, where more than the target's own room counts; may be empty.
  std::function<bool(std::uint64_t bytes)> hasRoomFor;

  // A destination folder could not be made; its path. Told each time; may be empty.
  std::function<void(const std::string& path)> onFolderNotMade;

  // Progress. Called often; posts when the percentage grew by more than half a percent or a quarter of a second passed.
  void reportProgress(const std::string& fileName, double filePercent);
  std::function<void(const JobProgressMessage&)> postProgress;
  double currentPercent = 0;
  std::uint64_t bytesOfFile = 0;  // of the file that is being copied, so far; counts.bytes gets them when it is done
  std::chrono::steady_clock::time_point lastProgress{};

  // One call per entry, for dry runs and for faces that list what was copied; may be empty. The reason is a short
  // phrase.
  std::function<void(EntryOutcome, const std::string& path, const std::string& reason)> onEntry;

  // Losses of metadata are logged once for each target and kind.
  std::set<std::string> lossesLogged;
};

}  // namespace lumisk
