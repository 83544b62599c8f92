#include "app/job_status_updates.h"

#include "platform/calendar_date.h"

namespace lumisk {
namespace {

using Dictionary = PropertyList::Dictionary;

template <class Status>
PropertyList stored(Status status) {
  return static_cast<std::int32_t>(status);
}

void recordLastRun(Dictionary& job, const std::string& now) {
  job[kLastRanTimeKey] = now;
  job[kFirstCopyKey] = false;
}

const char* statusWord(CancelStatus status) {
  switch (status) {
    case CancelStatus::kCancelled:
      return "Cancel";
    case CancelStatus::kError:
      return "Error";
    case CancelStatus::kNone:
      break;
  }
  return "Last Ran";
}

void appendLine(std::string& text, const std::string& line) {
  if (!text.empty()) text += '\n';
  text += line;
}

}  // namespace

bool setStartJobStatus(JobStore& jobs, const Clock& clock, std::int32_t index, JobStatus status, std::int32_t flag,
                       const std::string& begin) {
  if (flag != 0) return false;
  const std::string now = storedDate(clock.now());
  return jobs.changeJob(index, [&](Dictionary& job) {
    job[kLastBeginTimeKey] = begin.empty() ? now : begin;
    if (status == JobStatus::kCompleted) recordLastRun(job, now);
    job[kJobStatusKey] = stored(status);
    job[kCancelStatusKey] = stored(CancelStatus::kNone);
  });
}

bool setJobStatus(JobStore& jobs, const Clock& clock, std::int32_t index, JobStatus status, std::int32_t flag) {
  if (flag != 0) return false;
  return jobs.changeJob(index, [&](Dictionary& job) {
    if (status == JobStatus::kCompleted) recordLastRun(job, storedDate(clock.now()));
    job[kJobStatusKey] = stored(status);
  });
}

bool setCancelStatus(JobStore& jobs, const Clock& clock, std::int32_t index, CancelStatus status) {
  return jobs.changeJob(index, [&](Dictionary& job) {
    if (status == CancelStatus::kNone) recordLastRun(job, storedDate(clock.now()));
    job[kCancelStatusKey] = stored(status);
  });
}

bool setLastCompletedBegin(JobStore& jobs, std::int32_t index, const std::string& begin) {
  if (!CalendarDate::parse(begin)) return false;
  return jobs.changeJob(index, [&](Dictionary& job) { job[kLastCompletedBeginKey] = begin; });
}

bool setRunEnded(JobStore& jobs, const Clock& clock, std::int32_t index, const Dictionary& keys,
                 const std::string& completedBegin, CancelStatus cancel) {
  const bool isCompleted = CalendarDate::parse(completedBegin).has_value();
  return jobs.changeJob(index, [&](Dictionary& job) {
    for (const auto& [key, value] : keys) job[key] = value;
    job[kLastRanTimeKey] = storedDate(clock.now());
    job[kJobStatusKey] = stored(JobStatus::kCompleted);
    if (cancel != CancelStatus::kNone) job[kCancelStatusKey] = stored(cancel);
    if (!isCompleted) return;
    job[kFirstCopyKey] = false;
    job[kLastCompletedBeginKey] = completedBegin;
  });
}

bool setRunKeys(JobStore& jobs, std::int32_t index, const PropertyList::Dictionary& keys) {
  return jobs.changeJob(index, [&](Dictionary& job) {
    for (const auto& [key, value] : keys) job[key] = value;
  });
}

std::string statusText(const PropertyList& job) {
  const std::string lastRan = job[kLastRanTimeKey].text();
  if (lastRan.empty()) return "Never Ran";
  return std::string(statusWord(static_cast<CancelStatus>(job[kCancelStatusKey].integer32()))) + "\n" + lastRan;
}

std::string sourceColumnText(const PropertyList& job) {
  const PropertyList& folders = job[kBackupFoldersKey];
  std::string text;
  for (std::size_t i = 1; i < folders.array().size(); i += 2) appendLine(text, folders.at(i).text());
  return text;
}

std::string targetColumnText(const PropertyList& job, std::size_t mostTargets) {
  const PropertyList& folders = job[kBackupFoldersKey];
  if (!folders.at(0)[kTargetFlagKey].boolean()) return folders.at(2).text();
  std::string text;
  for (std::size_t i = 2; i < folders.array().size(); i += 2) {
    if (i / 2 > mostTargets) return text + " . . . . . .";
    appendLine(text, folders.at(i).text());
  }
  return text;
}

}  // namespace lumisk
