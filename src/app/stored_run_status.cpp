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

const Dictionary& runKeys(const Dictionary& userInfo) {
  static const Dictionary none;
  const auto keys = userInfo.find(kRunJobKeysKey);
  return keys == userInfo.end() ? none : keys->second.dictionary();
}

CancelStatus cancelStatus(const Dictionary& userInfo) {
  const auto cancelled = userInfo.find(kRunCancelledKey);
  const bool isCancelled = cancelled != userInfo.end() && cancelled->second.boolean();
  return isCancelled ? CancelStatus::kCancelled : CancelStatus::kNone;
}

std::string completedBegin(const Dictionary& userInfo) {
  const auto completed = userInfo.find(kRunCompletedKey);
  return completed != userInfo.end() && completed->second.boolean() ? textOf(userInfo, kRunBeginKey) : "";
}

bool isPass(const Dictionary& userInfo) {
  const auto pass = userInfo.find(kRunPassKey);
  return pass != userInfo.end() && pass->second.boolean();
}

// A pass is no run of the job, and its begin is not stored.
void passStarted(JobStore& jobs, std::int32_t index) {
  jobs.changeJob(index, [](Dictionary& job) {
    job[kJobStatusKey] = static_cast<std::int32_t>(JobStatus::kRunning);
    job[kCancelStatusKey] = static_cast<std::int32_t>(CancelStatus::kNone);
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
  on(notifications, kWillStartNotification, [this, &clock](JobStore& jobs, auto index, const Dictionary& userInfo) {
    remember(jobs.job(index));
    if (isPass(userInfo)) return passStarted(jobs, index);
    setStartJobStatus(jobs, clock, index, JobStatus::kRunning, 0, textOf(userInfo, kRunBeginKey));
  });
  on(notifications, kDidFinishNotification, [this, &clock](JobStore& jobs, auto index, const Dictionary& userInfo) {
    const bool isOther = isOfOtherTask(jobs.job(index));
    const auto& keys = isOther ? Dictionary() : runKeys(userInfo);
    setRunEnded(jobs, clock, index, keys, isOther ? "" : completedBegin(userInfo), cancelStatus(userInfo));
  });
  on(notifications, kLearnedNotification, [this](JobStore& jobs, std::int32_t index, const Dictionary& userInfo) {
    if (!runKeys(userInfo).empty() && !isOfOtherTask(jobs.job(index))) setRunKeys(jobs, index, runKeys(userInfo));
  });
  on(notifications, kErrorMessageNotification, [&clock](JobStore& jobs, std::int32_t index, const Dictionary&) {
    setCancelStatus(jobs, clock, index, CancelStatus::kError);
  });
  on(notifications, kUserCancelNotification, [&clock](JobStore& jobs, std::int32_t index, const Dictionary&) {
    setCancelStatus(jobs, clock, index, CancelStatus::kCancelled);
  });
}

void StoredRunStatus::remember(const PropertyList& job) {
  tasks_.insert_or_assign(job[kUuidStringKey].text(), job);
}

bool StoredRunStatus::isOfOtherTask(const PropertyList& job) const {
  const auto begun = tasks_.find(job[kUuidStringKey].text());
  QUORVELPREFERENCEINFO record;
  return begun != tasks_.end() && (!jobFromDictionary(job, record) || isAnotherTask(begun->second, record));
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
