#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/arrived_volumes.h"
#include "app/lent_dialogs.h"
#include "app/stored_run_status.h"
#include "app/sync_control_object.h"
#include "finder/do_server.h"
#include "jobs/job_store.h"
#include "platform/main_loop.h"
#include "platform/media_registry.h"
#include "platform/mount_table.h"
#include "platform/unmount.h"

namespace lumisk {

// What the application is made of; all must outlive it.
struct AppServices {
  MainLoop& loop;
  ScheduleServices schedule;  // without the functions that ask the store: the application sets those itself
  UserDefaults& defaults;
  std::string programPath;  // what is started at login
  // Whether the dialogs reach somebody; without, nothing is asked that would be taken for an answer.
  bool somebodyCanAnswer = false;
  MediaRegistry* media = nullptr;  // null: devices that come start nothing
  std::function<Result<std::vector<MountEntry>>()> mounts = mountTable;
  ArrivedVolumes::Unmount unmount = unmountVolume;
  LentDialogs* lentDialogs = nullptr;  // what windows of other processes show; null: this one has its own
};

// The application's controller, with or without windows: it owns the store for as long as it lives, runs the jobs by
// their schedulers, keeps their stored status in step with their runs, carries out commands, and answers the message
// server. Main thread only; events from other threads are moved there.
class QuorvelAppObject : public MessageDelegate {
 public:
  explicit QuorvelAppObject(AppServices services);
  ~QuorvelAppObject() override;  // applicationWillTerminate(), when it has not been called

  // Takes the store, reads the jobs, starts the schedulers, the timer and the message server. EWOULDBLOCK when another
  // instance holds the store ("Qel Lumisk already run" has been shown).
  Result<void> applicationDidFinishLaunching();
  void applicationWillTerminate();
  // Asks first when jobs run and the preference says so; false when the user wants to stay.
  [[nodiscard]] bool terminateApplicationAction();

  // Commands. Indices out of range are ignored; the booleans say whether it was done.
  bool startNowButtonActionWithJobIndex(std::int32_t index);  // a job that runs is stopped instead
  bool enableJobAtIndex(std::int32_t index);
  bool disableJobAtIndex(std::int32_t index);
  bool setManullyDisableAtIndex(std::int32_t index, bool disabled);
  [[nodiscard]] bool getManullyDisableAtIndex(std::int32_t index);
  [[nodiscard]] bool jobIsBusyAtIndex(std::int32_t index);
  bool stopJobAtIndex(std::int32_t index);          // cancels its run; false when it does not run
  PauseAnswer pauseJobAtIndex(std::int32_t index);  // its run stands still until it is resumed or ended
  bool resumeJobAtIndex(std::int32_t index);        // false when it is not paused
  [[nodiscard]] bool jobIsPausedAtIndex(std::int32_t index);
  bool deleteJobButtonActionWithIndex(std::int32_t index);  // asks first
  bool deleteJobButtonActionWithOutPromptAtIndex(std::int32_t index);
  bool addJob(const QUORVELPREFERENCEINFO& job);
  bool addSourceToJobAtIndex(std::int32_t index, const std::vector<std::string>& sourceList);
  bool reload();  // the store was changed by hand: read it again and bring the schedulers in step

  void freshTheJobStatus();  // by the timer, every 10 seconds

  PropertyList::Dictionary doDelegateMessageEvent(const PropertyList::Dictionary& request) override;

  // Device events, on the main thread.
  int USBDeviceHasAttached(int kind);  // the number of volumes that are new
  void checkingDestinationFolderForSync(const std::string& mountPath);
  void getAllVolumeName();
  void CallbackMessageIOMedia(std::int32_t event, long parameter);

  [[nodiscard]] JobStore& jobs();
  [[nodiscard]] SyncControlObject& control();
  // The last progress of a running job, by its uuid.
  [[nodiscard]] std::optional<JobProgressMessage> progressOf(const std::string& uuid);
  // Called on the main thread whenever a job has changed, and whenever its progress has, which is often; for faces.
  void observeJobs(std::function<void()> changed, std::function<void()> progressed);
  // What a face with windows does with paths that a file manager sends: lets the user pick a job for them, or makes a
  // job of them. Without, the paths go to the only job, and no job is made.
  using TakePaths = std::function<void(const std::vector<std::string>& paths)>;
  void setPathDialogs(TakePaths addToJob, TakePaths makeJob);
  // How a face with windows shows itself when it is started once more.
  void setShowWindow(std::function<void()> showWindow);
  // How it shows the earlier versions of a path.
  void setShowVersions(TakePaths showVersions);

  struct Members;  // for the sources of this folder

 private:
  std::unique_ptr<Members> members_;
};

}  // namespace lumisk
