#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "jobs/job_store.h"
#include "platform/main_loop.h"
#include "platform/notification_center.h"

namespace lumisk {

// "ProgressObjcetNotification": the user cancelled the run of the job whose index is the object.
inline constexpr const char* kUserCancelNotification = "ProgressObjcetNotification";

// Keeps the stored status of jobs in step with their runs, from the notifications that workers post. The observers only
// hand each event to the main thread, where the store is changed. Jobs are found by their uuid, which events carry
// besides the index.
//
// A run that did not complete sets the time of the last run, too, for display; "NSFirstCopy" and "NSLastCompletedBegin"
// change only with one that did. What a run proved holds for what its job carried when it began: of a job that carries
// something else meanwhile (isAnotherTask) only the end of the run is stored.
class StoredRunStatus {
 public:
  // Has its argument done on the store, read afresh and owned; `withStore` says itself what it could not do.
  using WithStore = std::function<void(const std::function<void(JobStore&)>& change)>;
  // Has its argument done on the main thread, later and in order; called on any thread.
  using OnMainThread = std::function<void(std::function<void()> work)>;
  StoredRunStatus(OnMainThread onMainThread, NotificationCenter& notifications, const Clock& clock,
                  WithStore withStore);
  StoredRunStatus(MainLoop& loop, NotificationCenter& notifications, const Clock& clock, WithStore withStore);

 private:
  using Update = std::function<void(JobStore& jobs, std::int32_t index, const PropertyList::Dictionary& userInfo)>;
  void on(NotificationCenter& notifications, const char* name, const Update& update);
  void apply(const Notification& notification, const Update& update);
  void remember(const PropertyList& job);
  [[nodiscard]] bool isOfOtherTask(const PropertyList& job) const;

  OnMainThread onMainThread_;
  WithStore withStore_;
  std::map<std::string, PropertyList> tasks_;  // of the jobs whose runs have begun, as they were then; main thread
  std::vector<NotificationCenter::Observation> observations_;
};

// The job that an event of a run is about: by its uuid, and only of an event without one by its index. -1: it is gone.
[[nodiscard]] std::int32_t jobIndexOfEvent(JobStore& jobs, const Notification& notification);

}  // namespace lumisk
