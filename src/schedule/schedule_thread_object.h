#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "engine/copy_file_thread_object.h"
#include "platform/wakeable_sleep.h"

namespace lumisk {

// What a scheduler needs from the rest of the program; all that it refers to must outlive it.
struct ScheduleServices {
  WorkerServices worker;  // for the job's worker; its clock is the scheduler's, too
  MakeSleep makeSleep;
  std::string pluginListPath;  // the property list shared with the file manager's plug-in
};

// The scheduler of one job: a thread that decides when the job is due and has its worker, which it owns, run it.
//
// Threads: everything public may be called from any thread but the scheduler's and the worker's own; from the worker's,
// only setImmediateEvent(), setCopyingState(), isNowCopyingFile() and isPaused(). stop() blocks until both threads have
// ended. m_conditionLock guards every flag: 0 made, 10 waiting, 12 ended, 13 the run has ended or a stop was requested.
class scheduleThreadObject : public RunScheduler {
 public:
  explicit scheduleThreadObject(ScheduleServices services);
  ~scheduleThreadObject() override;  // stops
  scheduleThreadObject(const scheduleThreadObject&) = delete;
  scheduleThreadObject& operator=(const scheduleThreadObject&) = delete;

  // False for an index out of range: then only the index is taken over. A run under way keeps its settings.
  bool fetchCurrentInfo(const PropertyList::Array& jobs, std::int32_t index);
  void setJobIndex(std::int32_t index);  // a deletion has renumbered the jobs

  bool start();                   // false for an inactive job, and when it runs already
  bool stop();                    // true
  bool postMessage(int message);  // 1: stop, without waiting; anything else is refused

  bool setImmediateEvent() override;  // false, and nothing, while a run is under way
  // A run as soon as it can be, with options that hold for this run only: how many runs have ended before it. Nothing
  // while one is under way or when the thread does not run.
  std::optional<std::uint64_t> requestRun(const RunOptions& options);
  // A run that the worker has not been given: one that is only requested has ended then, cancelled; one that has been
  // decided on is cancelled as it begins.
  bool cancelRequestedRun();
  // Of a run or pass; one that is only requested stands still as soon as it begins. See copyFileThreadObject.
  PauseAnswer pauseRun();
  bool resumeRun();  // false when it was not paused
  [[nodiscard]] bool isPaused();
  void setCopyingState(bool copying) override;
  [[nodiscard]] bool isNowCopyingFile();
  [[nodiscard]] bool isStarted();  // the thread runs and has not been asked to stop

  [[nodiscard]] WatchedCounts watchedCounts();  // of a real-time job's folders
  [[nodiscard]] std::string jobName();
  [[nodiscard]] std::string jobUuid();
  [[nodiscard]] std::int32_t jobIndex();
  // How many runs have ended in this object's life, and the last one's report: whoever asked for a run waits until the
  // number is larger than before.
  struct EndedRuns {
    std::uint64_t number = 0;
    RunReport last;
  };
  [[nodiscard]] EndedRuns endedRuns();

 private:
  struct Members;
  std::unique_ptr<Members> members_;
};

}  // namespace lumisk
