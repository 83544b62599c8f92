#include "app/stored_run_status.h"

#include "app/job_status_updates.h"
#include "engine/copy_file_thread_object.h"

namespace lumisk {
namespace {

using Dictionary = PropertyList::Dictionary;

std::string textOf(const Dictionary& userInfo, const char* key) {
  const auto found = userInfo.find(key);
  return found == userInfo.end() ? "" : found->second.text();
}

// The begin that the run itself goes by, not the moment at which we heard of it.
void runStarted(JobStore& jobs, const Clock& clock, std::int32_t index, const std::string& begin) {
  setStartJobStatus(jobs, clock, index, JobStatus::kRunning, 0);
  if (!begin.empty()) jobs.changeJob(index, [&](Dictionary& job) { job[kLastBeginTimeKey] = begin; });
}

void runCompleted(JobStore& jobs, const Clock& clock, std::int32_t index, const std::string& begin) {
  setJobStatus(jobs, clock, index, JobStatus::kCompleted, 0);
  setLastCompletedBegin(jobs, index, begin);
}

void keepRunKeys(JobStore& jobs, std::int32_t index, const Dictionary& userInfo) {
  const auto keys = userInfo.find(kRunJobKeysKey);
  if (keys != userInfo.end() && !keys->second.dictionary().empty()) setRunKeys(jobs, index, keys->second.dictionary());
}

void runEnded(JobStore& jobs, const Clock& clock, std::int32_t index) {
  jobs.changeJob(index, [&](Dictionary& job) {
    job[kLastRanTimeKey] = storedDate(clock.now());
    job[kJobStatusKey] = static_cast<std::int32_t>(JobStatus::kCompleted);
  });
}

}  // namespace

std::int32_t jobIndexOfEvent(JobStore& jobs, const Notification& notification) {
  const std::string uuid = textOf(notification.userInfo, kJobUuidKey);
  if (!uuid.empty()) return jobs.indexOfUuid(uuid);
  if (const auto* index = std::any_cast<std::int32_t>(&notification.object)) return *index;
  const auto found = notification.userInfo.find(kJobIndexKey);
  return found == notification.userInfo.end() ? -1 : found->second.integer32();
}

StoredRunStatus::StoredRunStatus(MainLoop& loop, NotificationCenter& notifications, const Clock& clock,
                                 WithStore withStore)
    : StoredRunStatus([&loop](std::function<void()> work) { loop.perform(std::move(work)); }, notifications, clock,
                      std::move(withStore)) {}

StoredRunStatus::StoredRunStatus(OnMainThread onMainThread, NotificationCenter& notifications, const Clock& clock,
                                 WithStore withStore)
    : onMainThread_(std::move(onMainThread)), withStore_(std::move(withStore)) {
  on(notifications, kWillStartNotification, [&clock](JobStore& jobs, std::int32_t index, const Dictionary& userInfo) {
    runStarted(jobs, clock, index, textOf(userInfo, kRunBeginKey));
  });
  on(notifications, kDidFinishNotification, [&clock](JobStore& jobs, std::int32_t index, const Dictionary& userInfo) {
    const auto completed = userInfo.find(kRunCompletedKey);
    keepRunKeys(jobs, index, userInfo);
    const bool isCompleted = completed != userInfo.end() && completed->second.boolean();
    if (isCompleted) return runCompleted(jobs, clock, index, textOf(userInfo, kRunBeginKey));
    runEnded(jobs, clock, index);
  });
  on(notifications, kLearnedNotification,
     [](JobStore& jobs, std::int32_t index, const Dictionary& userInfo) { keepRunKeys(jobs, index, userInfo); });
  on(notifications, kErrorMessageNotification, [&clock](JobStore& jobs, std::int32_t index, const Dictionary&) {
    setCancelStatus(jobs, clock, index, CancelStatus::kError);
  });
  on(notifications, kUserCancelNotification, [&clock](JobStore& jobs, std::int32_t index, const Dictionary&) {
    setCancelStatus(jobs, clock, index, CancelStatus::kCancelled);
  });
}

void StoredRunStatus::on(NotificationCenter& notifications, const char* name, const Update& update) {
  observations_.push_back(notifications.observe(name, [this, update](const Notification& notification) {
    onMainThread_([this, notification, update] { apply(notification, update); });
  }));
}

void StoredRunStatus::apply(const Notification& notification, const Update& update) {
  withStore_([&](JobStore& jobs) {
    const std::int32_t index = jobIndexOfEvent(jobs, notification);
    if (index >= 0) update(jobs, index, notification.userInfo);
  });
}

}  // namespace lumisk
