#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "platform/condition_lock.h"
#include "platform/notification_center.h"
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

// How a run ended, for whoever waits for it. Beside the described notifications: user info of the finish notification
// carries "RUNCOMPLETED" (bool) and "RUNBEGIN" (stored date).
inline constexpr const char* kRunCompletedKey = "RUNCOMPLETED";
inline constexpr const char* kRunBeginKey = "RUNBEGIN";

struct RunReport {
  bool completed = false;  // not cancelled, no error, no problem with a path, and the data are on the disk
  bool cancelled = false;
  bool sourceProblem = false;
  bool targetProblem = false;
  std::string problemPath;
  std::string problemText;  // one line, when the run was refused or a path failed
  RunError errorCode = RunError::kNone;
  RunCounts counts;
  double seconds = 0;
};

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
};

// How the next run differs from the usual.
struct RunOptions {
  PaceKind pace = PaceKind::kGentle;
  bool dryRun = false;
  std::function<void(EntryOutcome, const std::string& path, const std::string& reason)> onEntry;
};

enum class CopyMethod : int { kNothing = -1, kNormal = 0, kUnmountableSources = 1 };

// The worker of one job: a thread that sleeps until it is told to run the job, runs it, writes the job's log, posts
// notifications and shows the end-of-run dialogs.
//
// Threads: everything public may be called from any thread; stop() blocks until the run has ended. m_conditionLock is
// the mailbox: 83 created, 80 idle, 81 work or termination requested, 82 ended.
class copyFileThreadObject {
 public:
  explicit copyFileThreadObject(WorkerServices services);
  ~copyFileThreadObject();  // stops

  // The job at `index` of the array of stored dictionaries. False for an index out of range.
  bool fetchCurrentInfo(const PropertyList::Array& jobs, std::int32_t index);
  bool start();
  bool stop();
  bool postMessage(int message);  // 1: terminate
  void setCopyMethod(CopyMethod method);
  void setCancelFlag(bool cancelled);
  void setRunOptions(RunOptions options);  // for the runs requested from now on

  [[nodiscard]] bool isBusy();
  [[nodiscard]] std::int32_t getJobIndex();
  [[nodiscard]] std::vector<std::string> getSourcePaths();
  [[nodiscard]] std::vector<std::string> getTargetPaths();
  [[nodiscard]] RunReport lastReport();
  void setScheduleThread(void* scheduler);

 private:
  struct Members;
  std::unique_ptr<Members> members_;
};

}  // namespace lumisk
