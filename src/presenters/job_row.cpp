#include "presenters/job_row.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "app/job_status_updates.h"
#include "platform/calendar_date.h"
#include "platform/civil_time.h"
#include "platform/translation.h"
#include "presenters/locale_text.h"
#include "schedule/job_health.h"
#include "schedule/next_run.h"

namespace lumisk {
namespace {

constexpr std::size_t kMostPaths = 2;
constexpr const char* kMorePaths = " . . . . . .";
constexpr const char* kStatusSense = "status";  // of words that are on buttons, too

// Here to be found by those who collect what is to be translated; they are made by other floors.
[[maybe_unused]] constexpr const char* kTextsOfOthers[] = {
    markedText("Never Ran"), markedText("Last Ran"),      markedTextAs("status", "Cancel"),
    markedText("Error"),     markedText("Continuous"),    markedText("The job is disable"),
    markedText("unknow"),    markedText("Generate error")};

RowState stateOf(const PropertyList& stored, bool isRunning) {
  const auto cancel = static_cast<CancelStatus>(stored[kCancelStatusKey].integer32());
  if (isRunning) return cancel == CancelStatus::kError ? RowState::kRunningWithError : RowState::kRunning;
  if (stored[kLastRanTimeKey].text().empty()) return RowState::kNeverRan;
  if (cancel == CancelStatus::kCancelled) return RowState::kCancelled;
  return cancel == CancelStatus::kError ? RowState::kError : RowState::kCompleted;
}

std::string firstLines(const std::string& text, std::size_t most) {
  std::size_t end = 0;
  for (std::size_t line = 0; line < most; ++line) {
    end = text.find('\n', end);
    if (end == std::string::npos) return text;
    ++end;
  }
  return text.substr(0, end - 1) + kMorePaths;
}

// The word alone; when it was stands below it as the user writes dates.
std::string wordOf(const std::string& statusText) {
  return translatedAs(kStatusSense, statusText.substr(0, statusText.find('\n')).c_str());
}

std::string noteOf(const PropertyList& stored, WallTime now) {
  std::string note;
  if (const auto missed = missedRun(stored, now)) {
    note = filled(translated("The run of {} was missed."), localRecent(*missed, now));
  }
  if (const auto late = overdue(stored, now)) {
    if (!note.empty()) note += '\n';
    const auto days = static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::days>(late->age).count());
    note += late->hasCompleted
                ? filledCount("No run has completed for {} day.", "No run has completed for {} days.", days)
                : translated("No run has ever completed.");
  }
  return note;
}

std::optional<WallTime> timeOf(const std::string& stored) {
  const auto date = CalendarDate::parse(stored);
  return date ? std::optional(date->time()) : std::nullopt;
}

// Where the date cannot be read it is shown as it is stored.
void setLastRun(JobRow& row, const PropertyList& stored, WallTime now) {
  const std::string text = stored[kLastRanTimeKey].text();
  row.lastRan = timeOf(text);
  row.lastRanText = row.lastRan ? localRecent(*row.lastRan, now) : text;
}

void setPaths(JobRow& row, const PropertyList& stored) {
  row.allSources = sourceColumnText(stored);
  row.allTargets = targetColumnText(stored, std::numeric_limits<std::size_t>::max());
  row.sourceText = firstLines(row.allSources, kMostPaths);
  row.targetText = targetColumnText(stored, kMostPaths);
}

constexpr int kWholePermille = 1000;

}  // namespace

std::string jobTypeText(JobType type) {
  switch (type) {
    case JobType::kSyncWithRevisions:
      return translated("Synchronisation with revisions");
    case JobType::kSyncWithConflicts:
      return translated("Synchronisation");
    case JobType::kClone:
      return translated("Clone of a volume");
    case JobType::kBackup:
      break;
  }
  return translated("Backup");
}

std::string soonText(WallTime time, WallTime now) {
  const CalendarDate today(now);
  const auto dayBegin = [&](int days) {
    return CalendarDate::fromLocal(today.year(), today.month(), today.day() + days, 0, 0, 0).time();
  };
  if (time < dayBegin(0) || time >= dayBegin(2)) return localDateTime(time);
  const std::string clockTime = localTimeOfDay(time);
  return time < dayBegin(1) ? filled(translated("today, {}"), clockTime)
                            : filled(translated("tomorrow, {}"), clockTime);
}

NextRun nextRunOf(const PropertyList& stored, WallTime now) {
  const std::string next = getNextScheduleString(stored, now, kStoredDateFormat);
  if (next.empty()) return {translated("By hand"), std::nullopt};
  if (const auto time = timeOf(next)) return {soonText(*time, now), time};
  return {translated(next.c_str()), std::nullopt};
}

JobRow rowOf(const BoardJob& job, WallTime now) {
  const PropertyList& stored = job.stored;
  JobRow row;
  row.uuid = job.uuid;
  row.name = stored[kObjectNameKey].text();
  row.type = static_cast<JobType>(stored[kJobTypeKey].integer32());
  row.typeText = jobTypeText(row.type);
  row.isActive = stored[kActiveKey].boolean();
  row.state = stateOf(stored, job.running);
  setPaths(row, stored);
  setLastRun(row, stored, now);
  const NextRun next = nextRunOf(stored, now);
  row.nextText = next.text;
  const bool isContinuous =
      row.isActive &&
      static_cast<SchedulingMethod>(stored[kSchedulingKey][kMethodKey].integer32()) == SchedulingMethod::kRealTime;
  row.nextOrder = next.time ? wholeSeconds(*next.time) : isContinuous ? 0 : std::numeric_limits<std::int64_t>::max();
  row.note = noteOf(stored, now);
  if (row.isRunning()) {
    setProgress(row, job.progress, job.paused);
  } else {
    row.statusText = wordOf(lumisk::statusText(stored));
    row.detailText = row.lastRanText;
  }
  return row;
}

void setProgress(JobRow& row, const std::optional<JobProgressMessage>& progress, bool isPaused) {
  row.permille.reset();
  row.detailText.clear();
  row.isPaused = isPaused;
  const bool hasError = row.state == RowState::kRunningWithError;
  row.statusText = isPaused ? translated("Paused") : hasError ? translated(kErrorProgressText) : translated("Starting");
  if (!progress) return;
  const double permille = std::isfinite(progress->totalPercent) ? progress->totalPercent * 10 : 0;
  row.permille = static_cast<int>(std::clamp(permille, 0.0, kWholePermille - 1.0));
  row.detailText = progress->fileName;
  const int percent = *row.permille / 10;
  if (isPaused)
    row.statusText = filled(translated("Paused, {}%"), percent);
  else if (!hasError)
    row.statusText = filled(translated("{}%"), percent);
}

}  // namespace lumisk
