#pragma once

#include <any>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "engine/copy_file_thread_object.h"
#include "engine/pause_switch.h"
#include "engine/run_sequence.h"
#include "platform/condition_lock.h"

namespace lumisk {

// The conditions of m_conditionLock.
inline constexpr int kIdle = 80;
inline constexpr int kRequested = 81;
inline constexpr int kEnded = 82;
inline constexpr int kCreated = 83;

// Nothing thrown leaves the worker's thread. What was thrown, or "".
template <class Work>
std::string guarded(Work&& work) {
  try {
    work();
    return {};
  } catch (const std::exception& thrown) {
    return std::string("unexpected failure: ") + thrown.what();
  } catch (...) {
    return "unexpected failure";
  }
}

// The worker from within; for its own sources only.
struct copyFileThreadObject::Members {
  Members(copyFileThreadObject& owner, WorkerServices workerServices)
      : self(owner), services(std::move(workerServices)) {}

  void copyFileThread();
  void cloneDiscThread();
  void runRequests(const char* firstLine);
  bool takeRequest(RunRequest& request);
  bool runOnce(const RunRequest& request);
  RunResult perform(const RunRequest& request);
  RunResult runSequence(const RunRequest& request, JobLog& log);
  RunResult runClone(const RunRequest& request, JobLog& log);
  void endRun(const RunRequest& request, const RunResult& result);
  void keepResult(const RunRequest& request, const RunResult& result);
  void postEnd(const RunRequest& request, const RunResult& result);
  void endThread();

  bool takeListened(RunRequest& request, const std::vector<std::string>& folders);
  void endListened(const RunRequest& request, const RunResult& result);
  void setCopyingState(bool copying);
  void cancel();

  void post(const char* name, std::any object, PropertyList::Dictionary userInfo = {});
  void postProgress(const JobProgressMessage& message) { post(kProgressNotification, message); }
  std::unique_ptr<JobLog> openLog(bool dryRun);
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart currentInfo();
  bool isDryRun();

  void startListening();
  void stopListening();
  bool launchThread();

  copyFileThreadObject& self;
  const WorkerServices services;

  std::mutex m_lifeLock;  // start, stop and listening: one of them at a time; taken before m_conditionLock
  std::thread thread;
  std::unique_ptr<EventListening> listening;
  enum class Listens { kNot, kToEvents, kForTarget } listens = Listens::kNot;

  std::mutex _threadLock;  // held for the whole of one run; taken before m_conditionLock
  RunMemory memory;        // of whoever holds it

  ConditionLock m_conditionLock{kCreated};
  // Guarded by m_conditionLock; the two that a run looks at between entries are read without it.
  std::atomic<bool> m_bTerminateThread{true};
  std::atomic<bool> m_bCanceled{false};
  PauseSwitch pause;  // set only while a run or pass is requested or under way that is not to end
  bool m_bThreadDied = true;
  bool m_bBusy = false;
  bool isPassing = false;  // a pass over listened folders is under way
  bool _needScan = false;
  bool _runByFindTarget = false;
  CopyMethod m_nCopyMethod = CopyMethod::kNothing;
  std::uint64_t lastRequest = 0;  // its number
  std::atomic<std::int32_t> m_nJobIndex{-1};
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart m_currentInfo;
  PropertyList::Dictionary m_notificationInfo;
  RunOptions options;
  RunReport lastReport;
  RunScheduler* m_scheduleThread = nullptr;

  // The folder in which the job's marker was found last.
  struct MarkedFolder {
    FileIdentity identity;
    FileTime changed;
    std::string uuid;
    friend bool operator==(const MarkedFolder&, const MarkedFolder&) = default;
  };
  bool isMarkedTarget(int folder, const std::string& uuid);
  std::mutex markedLock;  // held for nothing else
  std::optional<MarkedFolder> lastMarked;

  NotificationCenter::Observation cancelEvent;  // last: gone before what it uses
};

}  // namespace lumisk
