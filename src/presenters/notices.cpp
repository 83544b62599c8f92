#include "presenters/notices.h"

#include "jobs/job_keys.h"
#include "platform/byte_text.h"
#include "presenters/locale_text.h"
#include "schedule/job_health.h"

namespace lumisk {
namespace {

constexpr const char* kFailedPrefix = "failed ";
constexpr const char* kOverduePrefix = "overdue ";
constexpr const char* kVolumePrefix = "volume ";

bool hasFailed(const BoardJob& job) {
  return !job.running && job.stored[kCancelStatusKey].integer32() == static_cast<std::int32_t>(CancelStatus::kError);
}

std::string nameOf(const BoardJob& job) {
  return displayText(job.stored[kObjectNameKey].text());
}

DesktopNotice failureNotice(const BoardJob& job) {
  return {kFailedPrefix + job.uuid, filled(translated("“{}” could not finish"), nameOf(job)),
          translated("Its last run had an error. Its log says what happened."), true};
}

DesktopNotice overdueNotice(const BoardJob& job, const Overdue& overdue) {
  const auto days = static_cast<std::uint64_t>(overdue.age / std::chrono::days(1));
  const auto hours = static_cast<std::uint64_t>(overdue.age / std::chrono::hours(1));
  std::string body = translated("It has never completed a run. Look at it in the list of jobs.");
  if (overdue.hasCompleted && days >= 2) {
    body = filledCount("Its last complete run was {} day ago.", "Its last complete run was {} days ago.", days);
  } else if (overdue.hasCompleted) {
    body = filledCount("Its last complete run was {} hour ago.", "Its last complete run was {} hours ago.", hours);
  }
  return {kOverduePrefix + job.uuid, filled(translated("“{}” has not completed for too long"), nameOf(job)), body,
          true};
}

}  // namespace

std::vector<DesktopNotice> NoticeRules::look(const std::vector<BoardJob>& jobs, WallTime now) {
  std::vector<DesktopNotice> notices;
  completed_.clear();
  for (const BoardJob& job : jobs) lookAt(job, now, notices);
  isFirst_ = false;
  return notices;
}

// Only a completed run ends a failure: between two failed runs there are moments without one.
void NoticeRules::lookAt(const BoardJob& job, WallTime now, std::vector<DesktopNotice>& notices) {
  const std::string completed = job.stored[kLastCompletedBeginKey].text();
  const auto [found, isNew] = known_.try_emplace(job.uuid, Known{completed});
  Known& known = found->second;
  if (known.completed != completed) {
    known = {completed};
    completed_.push_back(job.stored[kObjectNameKey].text());
  }
  if (isNew && isFirst_) known.failureIsTold = hasFailed(job);
  if (hasFailed(job) && !known.failureIsTold) {
    known.failureIsTold = true;
    notices.push_back(failureNotice(job));
  }
  if (known.overdueIsTold) return;
  if (const auto late = overdue(job.stored, now)) {
    known.overdueIsTold = true;
    notices.push_back(overdueNotice(job, *late));
  }
}

DesktopNotice NoticeRules::of(const VolumeNotice& notice) {
  return {kVolumePrefix + notice.volume, filled(translated("It is safe to remove “{}”"), displayText(notice.volume)),
          filled(translated("“{}” has finished."), displayText(notice.jobName)), false};
}

std::string NoticeRules::jobOf(const std::string& key) {
  for (const std::string prefix : {kFailedPrefix, kOverduePrefix})
    if (key.starts_with(prefix)) return key.substr(prefix.size());
  return "";
}

}  // namespace lumisk
