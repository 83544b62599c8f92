#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "engine/backup_deletions.h"
#include "engine/image_target.h"
#include "engine/last_sync.h"
#include "engine/listened_folders.h"
#include "engine/place_checks.h"
#include "engine/run_dialogs.h"
#include "engine/run_problems.h"
#include "engine/run_request.h"
#include "engine/run_targets.h"
#include "engine/two_way_run.h"
#include "engine/work_pool.h"

namespace lumisk {

struct RunSwitches {
  const std::atomic<bool>& m_bTerminateThread;
  const std::atomic<bool>& m_bCanceled;
  PauseSwitch* pause = nullptr;  // null: this run cannot be paused
};

struct RunResult {
  enum class End {
    kWhole,        // all steps were taken
    kNothingToDo,  // a run for sources on unmountable volumes found none: no log, no dialogs, no last-run time
    kTerminated,   // the worker was stopped in the middle
  };
  End end = End::kWhole;
  RunReport report;
  bool m_bHasError = false;
  bool firstCopyOver = false;
  bool detachesImage = false;  // the run has mounted the job's image; it can go once the run is over
};

// One run of a job, or a pass over parts of it, from the choice of its sources to the dialogs at its end. Lives on the
// worker's thread for the time of the run and holds the locks of the targets.
//
// Nothing is written before the job's folders have been checked and its targets are open and locked. A run that must
// not be is refused as a whole; a source or target that is missing is a problem of that source alone.
class RunSequence {
 public:
  RunSequence(const WorkerServices& services, RunMemory& memory, const RunRequest& request, RunSwitches switches,
              JobLog& log, std::function<void(const JobProgressMessage&)> postProgress);
  RunResult run();

 private:
  struct Pair {
    std::string source;
    std::string target;  // the folder that receives it
    std::string part;    // what of it a pass looks at: the way below it; "": all
  };
  std::function<void(EntryOutcome, const std::string&, const std::string&)> countingOutcomes();
  void perform();
  [[nodiscard]] std::vector<Pair> chooseSources();
  [[nodiscard]] bool isPass() const { return request_.method == CopyMethod::kListenedFolders; }
  [[nodiscard]] std::vector<Pair> chooseParts();
  void narrowParts();
  [[nodiscard]] std::string standingPart(const Pair& pair, const std::string& opposite) const;
  void countParts();
  [[nodiscard]] bool isToBeSkipped(const std::string& source) const;
  [[nodiscard]] bool terminated() const { return switches_.m_bTerminateThread; }

  [[nodiscard]] bool mountImage();
  [[nodiscard]] bool checkJob();
  [[nodiscard]] bool openTargets();
  void logRefusal();

  void countEntries();
  void countSources();
  [[nodiscard]] std::uint64_t countPair(const Pair& pair);
  void walkSources();
  void walkSource(const Pair& pair);
  void walkFile(const Pair& pair, RunTarget& target, SourceKind kind);
  [[nodiscard]] bool followsDeletions() const;
  [[nodiscard]] DeletionBrake deletionBrake() const;
  [[nodiscard]] DeletionScope deletionScope();
  [[nodiscard]] bool isKnownSource(const std::string& source);
  bool carry(const std::string& source, RunTarget& target, const std::string& destination);
  bool passesFilter(const std::string& source);
  Result<std::string> prepareDestination(const Pair& pair, SourceKind kind);
  [[nodiscard]] std::string oppositeOf(const Pair& pair, SourceKind kind) const;
  void noteVanishedMounts();
  [[nodiscard]] bool answers(const std::string& source) const;
  void noteMissingTarget(const std::string& target);

  void settle();
  void fillReport();
  void noteCompletion();
  void notePass();
  void showMessages();

  static constexpr int kLayers = 5;  // how deep entries are counted

  const WorkerServices& services_;
  RunMemory& memory_;
  const RunRequest& request_;
  RunSwitches switches_;
  std::optional<WorkPool> pool_;  // before what uses it
  RunState run_;
  RunTargets targets_;
  RunDialogs dialogs_;
  ImageTarget image_;
  RunProblems problems_;
  LastSync lastSync_;
  std::unique_ptr<RunRecorder> recorder_;
  std::optional<PlaceChecks> places_;
  std::unique_ptr<BackupDeletions> deletions_;  // of a backup that follows them
  std::vector<Pair> pairs_;
  RunResult result_;
  RunReport& report_;   // result_'s
  WallTime walkEnd_{};  // what changed in the job's folders after it was not the run's doing
};

// The target that a source of the job goes to, and the place that it has there.
[[nodiscard]] const std::string& targetOf(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info, std::size_t source);
[[nodiscard]] std::string placeOf(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info, const std::string& source,
                                  const std::string& target, SourceKind kind);

// Where the sources of a job go, for what listens to them. What is at neither place counts as a folder.
[[nodiscard]] std::vector<ListenedPlace> listenedPlaces(FileCalls& files,
                                                        const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info);

}  // namespace lumisk
