#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/run_report.h"
#include "engine/worker_services.h"

namespace lumisk {

// Notification names, and keys of their user info.
inline constexpr const char* kWillStartNotification = "SyncObjectWillStartNotification";
inline constexpr const char* kDidFinishNotification = "SyncObjectDidFinishNotification";
inline constexpr const char* kErrorMessageNotification = "ErrorMessage";
inline constexpr const char* kProgressNotification = "ProgressCellDataNotification";
inline constexpr const char* kScheduleNotification = "scheduleThreadObject notification";
inline constexpr const char* kCancelNotification = "SetCancelStatus";
inline constexpr const char* kJobIndexKey = "JOBINDEXKEY";
inline constexpr const char* kJobUuidKey = "JOBUUIDKEY";

// User info of the start and finish notifications: "RUNBEGIN" (stored date) in both, so that what is stored as the
// begin of the run is its begin; "RUNCOMPLETED" (bool) in the finish: the whole job was carried and the data are on the
// disk.
inline constexpr const char* kRunCompletedKey = "RUNCOMPLETED";
inline constexpr const char* kRunCancelledKey = "RUNCANCELLED";
inline constexpr const char* kRunBeginKey = "RUNBEGIN";
// "RUNPASS" (bool) in both: a pass over some folders, which is no run of the job.
inline constexpr const char* kRunPassKey = "RUNPASS";
// Posted in the middle of a run for what must be stored at once: "JOBUUIDKEY", "JOBINDEXKEY" and "RUNJOBKEYS".
inline constexpr const char* kLearnedNotification = "SyncObjectLearnedNotification";
// "RUNJOBKEYS", a dictionary: keys of the stored job that the run has changed, to be stored as they are.
inline constexpr const char* kRunJobKeysKey = "RUNJOBKEYS";

enum class PauseAnswer {
  kDone,
  kNotRunning,      // or it is about to end
  kCannotBePaused,  // a clone: another process carries it
};

// The worker of one job: a thread that sleeps until it is told to run the job, runs it, writes the job's log, posts
// notifications and shows the end-of-run dialogs.
//
// Threads: everything public may be called from any thread; on the worker's own, where the notifications of a run are
// delivered, all but start(), stop(), setCancelFlag() and the destructor. stop() blocks until the run has ended.
// m_conditionLock is the mailbox: 83 created, 80 idle, 81 work or termination requested, 82 ended.
class copyFileThreadObject {
 public:
  explicit copyFileThreadObject(WorkerServices services);
  ~copyFileThreadObject();  // stops
  copyFileThreadObject(const copyFileThreadObject&) = delete;
  copyFileThreadObject& operator=(const copyFileThreadObject&) = delete;

  // The job at `index` of the array of stored dictionaries. False for an index out of range, and for a dictionary that
  // is not a job; the index is taken over even then. A run that is under way keeps the settings that it began with.
  bool fetchCurrentInfo(const PropertyList::Array& jobs, std::int32_t index);
  void setJobIndex(std::int32_t index);  // a deletion has renumbered the jobs

  // False when the thread runs already. True, and nothing is started, for unknown types of jobs.
  bool start();
  bool stop();                    // true
  bool postMessage(int message);  // 1: terminate, without waiting
  // Requests a run. A request that comes while a run is under way is lost. A cancellation counts from here on. The
  // request's number, from 1, which the report of its run carries; 0 when no thread runs that could take it up.
  std::uint64_t setCopyMethod(CopyMethod method);
  // The run or pass that is requested or under way stands still, with all its threads, at its next entry, chunk of data
  // or folder of deletions, until it goes on, is cancelled or the worker is stopped. It keeps its locks on the targets.
  PauseAnswer pauseRun();
  bool resumeRun();  // false when it was not paused
  [[nodiscard]] bool isPaused();
  void setFirstCopy();  // until a run completes, runs leave no source out and compare sizes as well
  void setCancelFlag(bool cancelled);
  void setRunOptions(RunOptions options);  // for the runs requested from now on
  void setRunByFindTarget();               // the coming run was asked for because the target appeared

  // For what listens for this worker, on threads of its own that end with it.
  // Looks at these folders again, on the calling thread, as a run does: it waits for one that is under way, and none
  // begins meanwhile. Nothing when the worker was stopped. Folders that are no matter of the job are left out.
  std::optional<RunReport> runListenedFolders(const std::vector<std::string>& folders);
  // Has the scheduler, or without one the worker itself, run the whole job as soon as it can be. False while a run is
  // under way: it may have passed by what this one is wanted for.
  bool requestWholeRun();
  [[nodiscard]] QUORVELPREFERENCEINFOtag_CopyFileObjectPart currentJob();
  // The first target is there and, when the job has written to it before, carries its marker.
  [[nodiscard]] bool isTargetAvailabe();
  void logLine(const std::string& text);  // into the job's log
  void postFinishedMessage();

  [[nodiscard]] WatchedCounts watchedCounts();  // of a real-time job: how many folders are watched
  [[nodiscard]] bool isBusy();
  [[nodiscard]] bool needScan();  // a real-time job with sources on volumes that come and go
  [[nodiscard]] bool isADMGJobNeedListenTarget();
  [[nodiscard]] std::int32_t getJobIndex();
  [[nodiscard]] std::string getJobName();
  [[nodiscard]] std::vector<std::string> getSourcePaths();
  [[nodiscard]] std::vector<std::string> getTargetPaths();
  [[nodiscard]] RunReport lastReport();             // of the last run that ended
  void setScheduleThread(RunScheduler* scheduler);  // outlives the worker

 private:
  struct Members;
  std::unique_ptr<Members> members_;
};

}  // namespace lumisk
