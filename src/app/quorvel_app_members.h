#pragma once

#include <map>
#include <tl/expected.hpp>

#include "app/job_list_check.h"
#include "app/job_progress_table.h"
#include "app/main_thread_queue.h"
#include "app/quorvel_app_object.h"
#include "devices/device_waiter.h"
#include "devices/tiv_io_media_object.h"

namespace lumisk {

// The application from within; for its own sources only.
//
// Events of runs come through `events`, in their order. They change what is stored of a job, never the jobs' places, so
// that they may be drained wherever the store must be up to date. What does change places comes through `tasks`, which
// only the main loop works on.
struct QuorvelAppObject::Members {
  Members(QuorvelAppObject& application, AppServices appServices);

  // Start and end.
  Result<void> own();
  Result<void> readJobs();
  void observeRuns();
  void startMediaEvents();
  void forgetVolumesThatWent();
  void joinToLoginWindow();

  // Events, on the main thread.
  void QelLumiskObjectEvent(const Notification& notification);
  void removeOneTimeClone(const Notification& notification);
  void runOfArrivalEnded(const Notification& notification);
  void forgetTroubleOf(const Notification& notification);
  void addJobMessageEvent(const Notification& notification);
  void progressCellDataEvent(const Notification& notification);  // on the posting thread

  // Jobs.
  bool setActive(std::int32_t index, bool active);
  void cancelRun(std::int32_t index);
  void restart(std::int32_t index);
  std::vector<std::string> bringInStep();
  void refresh(std::int32_t index, const PropertyList& looked);
  [[nodiscard]] std::vector<std::string> runningJobs();
  // The names of the jobs whose runs the stop of their schedulers has cut short.
  std::vector<std::string> noteStoppedRuns(const std::vector<std::string>& wereRunning);
  bool deleteJob(std::int32_t index);
  void removeFileList(const std::string& jobName);
  void moveFileList(const JobRenaming& renaming);
  // Why not, in one line; nothing when it was done.
  std::optional<std::string> addSources(std::int32_t index, const std::vector<std::string>& sources);
  // The jobs whose runs had to be stopped; the error says why nothing was stored.
  tl::expected<std::vector<std::string>, std::string> storeJobs(const PropertyList::Array& before,
                                                                PropertyList::Array after);
  void runOnArrival(const std::vector<std::int32_t>& triggered, const std::string& mountPath);
  void runArrivals();
  [[nodiscard]] bool isTriggered(const PropertyList& job, const std::string& mountPath);
  [[nodiscard]] scheduleThreadObject* schedulerOf(const std::string& uuid);
  [[nodiscard]] UserDialogs& dialogs() const { return services.schedule.worker.dialogs; }
  [[nodiscard]] FileCalls& files() const { return services.schedule.worker.files; }

  void later(std::function<void()> task);  // through `tasks`, unless the application has ended by then; any thread
  void changed();
  void progressed();
  void tellTrouble();
  void storeOnce(const std::function<void()>& work);

  QuorvelAppObject& app;
  AppServices services;
  JobStore store;
  std::shared_ptr<UserDefaults::Ownership> ownership;
  MainThreadQueue events;
  MainThreadQueue tasks;
  JobProgressTable progress;
  std::map<std::string, RunReport> removedClones;  // how the runs of clones ended that have removed themselves, by uuid
  SyncControlObject m_controlObject;
  std::optional<StoredRunStatus> status;
  std::vector<NotificationCenter::Observation> observations;
  std::optional<doServer> doMessageServer;
  MainLoop::SourceHandle timer;
  std::vector<std::string> m_volumeNameArray;
  bool mediaHasStarted = false;
  ArrivedVolumes arrived;
  std::map<std::string, std::string> arrivals;  // volumes by the uuid of a job that runs for them after its present run
  std::optional<DeviceWaiter> m_waitingObject;
  std::optional<TivIOMediaObject> ioMediaDetection;
  struct JobObserver {
    std::function<void()> changed, progressed;
  };
  std::vector<JobObserver> jobObservers;
  std::function<void()> showWindow;
  TakePaths addToJob, makeJob, showVersions;
  bool storeTroubleIsTold = false;
  bool isLaunched = false;
};

inline constexpr const char* kApplicationTitle = "Qel Lumisk";

// Answers one request; see app/instance_requests.h.
[[nodiscard]] PropertyList::Dictionary answerRequest(QuorvelAppObject& app, QuorvelAppObject::Members& members,
                                                     const PropertyList::Dictionary& request);

}  // namespace lumisk
