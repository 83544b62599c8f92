#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/user_defaults.h"
#include "schedule/schedule_thread_object.h"

namespace lumisk {

inline constexpr std::int32_t kAnyJob = 2005;  // isBusy(): is any job copying

// The worker controller: one scheduler per job, in job index order, made from the jobs as last read from the user
// defaults. Main thread only; the schedulers' and workers' threads are theirs.
class SyncControlObject {
 public:
  // `services` are handed to every scheduler.
  SyncControlObject(UserDefaults& defaults, ScheduleServices services);
  ~SyncControlObject();  // stops

  bool reloadPreferenceInfo();  // false when no "Qel Lumisk" string or no job array is stored
  bool start();                 // false when there are schedulers already; true, with none made, when the switch is off
  bool addObject(std::int32_t index);  // a job was appended
  [[nodiscard]] bool isRun() const { return !m_object.empty(); }
  void postMessage(int code);
  bool postMessageEx(int code, std::int32_t index);
  void stop();  // asks all to stop, then waits for each
  void setImmediateEvent(std::int32_t index);
  [[nodiscard]] bool isBusy(std::int32_t index);
  bool fresh(std::int32_t index);  // re-reads the job's settings, with a stop before and a start after
  bool stopJob(std::int32_t index);
  bool deleteObject(std::int32_t index);  // later schedulers, and their workers, are told of their new index

  // Re-reads the jobs and makes the schedulers fit them, whatever has become of the list: jobs go by their uuid. Of a
  // job with other settings the run is stopped; status alone stops nothing. `runsEnded` is called when all that must
  // stop has stopped, before the settings are read: what those runs have told must be stored by then.
  bool bringInStep(const std::function<void()>& runsEnded);

  [[nodiscard]] scheduleThreadObject* object(std::int32_t index);  // null when there is none

 private:
  struct Scheduled {
    std::unique_ptr<scheduleThreadObject> scheduler;
    PropertyList job;  // as the scheduler knows it
  };

  [[nodiscard]] bool hasObject(std::int32_t index) const;
  void fetchAndStart(Scheduled& scheduled, std::int32_t index);
  void addScheduler(std::int32_t index);
  void stopWhatChanges(const PropertyList::Array& next);
  void fit(std::vector<Scheduled>& before, std::int32_t index);

  UserDefaults& defaults_;
  const ScheduleServices services_;
  bool m_bTurnOnFlag = false;
  PropertyList::Array m_preferenceInfo;
  std::vector<Scheduled> m_object;
};

}  // namespace lumisk
