#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "platform/notification_center.h"
#include "platform/trash.h"
#include "platform/user_dialogs.h"

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

// User info of the start and finish notifications: "RUNBEGIN" (stored date) in both, so that what is stored as the begin
// of the run is its begin; "RUNCOMPLETED" (bool) in the finish: the whole job was carried and the data are on the disk.
inline constexpr const char* kRunCompletedKey = "RUNCOMPLETED";
inline constexpr const char* kRunBeginKey = "RUNBEGIN";

// How a run ended, for whoever waits for it.
struct RunReport {
  bool completed = false;  // not cancelled, no error, no problem with a path, and the data are on the disk
  bool wholeJob = true;    // false: sources were left out because the request did not ask for them
  bool cancelled = false;  // by the user, or because the worker was stopped
  bool refused = false;    // nothing was walked; problemText says why
  bool sourceProblem = false;
  bool targetProblem = false;
  std::string problemPath;
  std::string problemText;  // one line, when the run was refused or a path failed
  RunError errorCode = RunError::kNone;
  RunCounts counts;
  double seconds = 0;
};

class copyFileThreadObject;

// What a worker needs from the rest of the program. All must outlive it.
struct WorkerServices {
  FileCalls& files;
  Clock& clock;
  NotificationCenter& notifications;
  UserDialogs& dialogs;
  ImageMounter& images;
  // The stored job's flags and the preferences; runs that belong to no stored job give functions that do nothing.
  std::function<bool(std::int32_t index)> setFirstCopyFlag;
  std::function<std::uint32_t(std::int32_t index)> getDataBit;
  std::function<PropertyList(const std::string& key)> preference;  // of "SGPreferences"
  // What a run keeps and records, made when the targets are open and locked and gone when the run ends; and what a
  // worker listens to, made with the worker. Empty ones keep, record and hear nothing.
  std::function<std::unique_ptr<VersionKeeper>(RunState& run, Trash& trash, const std::string& target)> versionKeeper{};
  std::function<std::unique_ptr<RunRecorder>(RunState& run)> runRecorder{};
  std::function<std::unique_ptr<EventListening>(copyFileThreadObject& worker)> eventListening{};
};

// How the next run differs from the usual.
struct RunOptions {
  PaceKind pace = PaceKind::kGentle;
  // Nothing is written: no log, no dialog, no image is mounted, no lock is taken. Of the notifications only the progress
  // and "scheduleThreadObject notification" (a run ended) are posted.
  bool dryRun = false;
  std::function<void(EntryOutcome, const std::string& path, const std::string& reason)> onEntry;
};

enum class CopyMethod : int { kNothing = -1, kNormal = 0, kUnmountableSources = 1 };

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

  // False when the thread runs already. A clone (job type 3) has no thread yet: true, and nothing is started; likewise
  // for unknown types.
  bool start();
  bool stop();                    // true
  bool postMessage(int message);  // 1: terminate, without waiting
  // Requests a run. A request that comes while a run is under way is lost. A cancellation counts from here on.
  void setCopyMethod(CopyMethod method);
  void setCancelFlag(bool cancelled);
  void setRunOptions(RunOptions options);  // for the runs requested from now on
  void setRunByFindTarget();               // the coming run was asked for because the target appeared

  [[nodiscard]] bool isBusy();
  [[nodiscard]] bool needScan();  // a real-time job with sources on volumes that come and go
  [[nodiscard]] bool isADMGJobNeedListenTarget();
  [[nodiscard]] std::int32_t getJobIndex();
  [[nodiscard]] std::string getJobName();
  [[nodiscard]] std::vector<std::string> getSourcePaths();
  [[nodiscard]] std::vector<std::string> getTargetPaths();
  [[nodiscard]] RunReport lastReport();  // of the last run that ended
  void setScheduleThread(void* scheduler);

 private:
  struct Members;
  std::unique_ptr<Members> members_;
};

}  // namespace lumisk
