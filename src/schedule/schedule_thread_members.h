#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "jobs/job_views.h"
#include "platform/condition_lock.h"
#include "schedule/due_times.h"
#include "schedule/plugin_list.h"
#include "schedule/schedule_thread_object.h"

namespace lumisk {

// The conditions of m_conditionLock.
inline constexpr int kMade = 0;
inline constexpr int kWaiting = 10;
inline constexpr int kThreadEnded = 12;
inline constexpr int kWake = 13;

// The scheduler from within; for its own sources only.
//
// m_conditionLock is never held while the worker is asked for anything: the worker's thread takes it when it reports.
struct scheduleThreadObject::Members {
  explicit Members(ScheduleServices scheduleServices);

  // What the thread has decided to run.
  struct PlannedRun {
    CopyMethod method = CopyMethod::kNormal;
    bool isFirstCopy = false;
    std::optional<RunOptions> options;  // of whoever asked for it
  };

  bool launchThread();
  // The thread; false of the steps: a stop was requested.
  void scheduleThread();
  bool onePass(RealTimeBase& base);
  bool waitForPlugin();
  std::optional<PlannedRun> planRun(RealTimeBase& base);
  bool isDue(RealTimeBase& base, WallTime now, bool forced, bool scans);
  [[nodiscard]] std::optional<DueMoment> dueMoment(WallTime now) const;
  bool perform(const PlannedRun& run);
  std::uint64_t timerEvent() { return m_copyFileThreadObject.setCopyMethod(CopyMethod::kNormal); }
  bool waitForRun(std::uint64_t request);
  void noteGiven();
  void refuseRun();
  void giveUpRun();
  void endRun();
  bool waitForNextPass();
  bool sleepOnce(std::chrono::nanoseconds duration);
  bool rearm();
  void endThread();

  bool requestStop();
  void wake(ConditionLock::Guard& guard);
  void scheduleControlObjectNotification(const Notification& notification);
  void countEnd(std::uint64_t request, const RunReport& report);
  [[nodiscard]] RunOptions usualOptions() const;

  const ScheduleServices services;
  const PluginList pluginList;
  copyFileThreadObject m_copyFileThreadObject;
  const std::unique_ptr<WakeableSleep> sleep;

  std::mutex m_lifeLock;  // start and stop: one of them at a time; taken before m_conditionLock
  std::thread thread;

  ConditionLock m_conditionLock{kMade};
  // Guarded by m_conditionLock.
  bool m_bImmediateEvent = false;
  bool m_bCopyfile = false;  // a pass of the listening is under way
  bool isRunning = false;    // a run that this thread has decided on is under way
  bool isGiven = false;      // ... and the worker has been given it: it hears of a cancel itself
  bool isUnwanted = false;   // ... and was cancelled before that
  bool isToPause = false;    // a run that the worker has not been given yet
  bool m_bTerminateThread = true;
  bool m_bThreadDied = true;
  QUORVELPREFERENCEINFOtag_SchedulePart m_currentInfo;
  std::string uuidString;
  std::optional<WallTime> lastBegin;  // of the run before the settings were read
  std::int32_t m_nJobIndex = -1;
  std::optional<RunOptions> requested;
  ServedMoments served;
  EndedRuns ended;
  std::uint64_t lastEndedRequest = 0;

  NotificationCenter::Observation runEvent;  // last: gone before what it uses
};

}  // namespace lumisk
