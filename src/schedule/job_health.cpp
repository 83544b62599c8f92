#include "schedule/job_health.h"

#include <fmt/format.h>

#include <filesystem>

#include "jobs/job_record.h"
#include "jobs/job_views.h"
#include "platform/byte_text.h"
#include "platform/home_folder.h"
#include "platform/paths.h"
#include "platform/workspace.h"
#include "schedule/due_times.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kMissedAfter = 2min;  // a run that is due begins well within them
constexpr auto kOverdueAfter = std::chrono::days(7);
constexpr int kOverduePeriods = 3;

std::optional<QUORVELPREFERENCEINFOtag_SchedulePart> activeSchedule(const PropertyList& job) {
  QUORVELPREFERENCEINFOtag_SchedulePart view;
  if (!schedulePartFromDictionary(job, view) || !view.bActive) return std::nullopt;
  return view;
}

std::optional<WallTime> storedTime(const PropertyList& text) {
  const auto date = CalendarDate::parse(text.text());
  return date ? std::optional(date->time()) : std::nullopt;
}

// The last moment, not after `latest`, at which week days are due.
std::optional<WallTime> lastWeekDayMoment(const QUORVELPREFERENCEINFOtag_SchedulePart& job, WallTime latest) {
  const CalendarDate today(latest);
  for (int back = 0; back <= 7; ++back) {
    const auto moment = CalendarDate::fromLocal(today.year(), today.month(), today.day() - back,
                                                job.scheduling_date.hour(), job.scheduling_date.minute(), 0);
    const auto day = static_cast<std::size_t>((today.dayOfWeek() + 7 - back) % 7);
    if (job.scheduling_weekFlag.at(day) && moment.time() <= latest) return moment.time();
  }
  return std::nullopt;
}

std::chrono::seconds longestAge(const QUORVELPREFERENCEINFOtag_SchedulePart& job) {
  const auto interval = timerInterval(job.scheduling_timer, job.scheduling_timerUnit);
  const bool isTimer = job.scheduling_method == SchedulingMethod::kTimer && interval;
  return isTimer ? *interval * kOverduePeriods : std::chrono::seconds(kOverdueAfter);
}

bool isScheduled(const QUORVELPREFERENCEINFOtag_SchedulePart& job) {
  return job.scheduling_method == SchedulingMethod::kRealTime || job.scheduling_method == SchedulingMethod::kTimer ||
         job.scheduling_method == SchedulingMethod::kWeekDays;
}

bool isMounted(const std::string& volume, const std::vector<MountEntry>& mounts) {
  return std::any_of(mounts.begin(), mounts.end(), [&](const MountEntry& one) { return one.mountPoint == volume; });
}

// The volume, mounted or not, on which the path lies, by the places where volumes appear.
std::optional<std::string> volumePlace(const std::string& path, const Surroundings& around) {
  if (const auto mounted = workspace::volumeOf(path, around.mounts)) return mounted;
  for (std::string place = paths::normalised(path, "/"); place != "/"; place = paths::parent(place))
    if (workspace::isVolumesFolder(paths::parent(place), around.mounts, around.user)) return place;
  return std::nullopt;
}

// What must be there for the job to run: its targets, or the image that is mounted for them.
std::vector<std::string> neededPlaces(const PropertyList& job) {
  QUORVELPREFERENCEINFO record;
  if (!jobFromDictionary(job, record)) return {};
  if (!record.dmgPath.empty()) return {record.dmgPath};
  return record.targetPaths;
}

std::string countText(std::int64_t count, const char* unit) {
  return fmt::format("{} {}{}", count, unit, count == 1 ? "" : "s");
}

std::string ageText(std::chrono::seconds age) {
  if (age >= 48h) return countText(age / std::chrono::days(1), "day");
  if (age >= 2h) return countText(age / 1h, "hour");
  return countText(age / 1min, "minute");
}

}  // namespace

std::optional<WallTime> missedRun(const PropertyList& job, WallTime now) {
  const auto schedule = activeSchedule(job);
  if (!schedule || schedule->scheduling_method != SchedulingMethod::kWeekDays) return std::nullopt;
  const auto due = lastWeekDayMoment(*schedule, now - kMissedAfter);
  const auto edited = storedTime(job[kJobModifyTimeKey]);
  const auto begun = storedTime(job[kLastBeginTimeKey]);
  if (!due || !edited || *due <= *edited) return std::nullopt;
  if (begun && *begun >= *due) return std::nullopt;
  return due;
}

std::string missedText(WallTime missed) {
  return "missed at " + CalendarDate(missed).description("%Y-%m-%d %H:%M");
}

std::optional<Overdue> overdue(const PropertyList& job, WallTime now) {
  const auto schedule = activeSchedule(job);
  if (!schedule || !isScheduled(*schedule)) return std::nullopt;
  const auto completed = storedTime(job[kLastCompletedBeginKey]);
  const auto since = completed ? completed : storedTime(job[kJobModifyTimeKey]);
  if (!since) return std::nullopt;
  const auto age = std::chrono::floor<std::chrono::seconds>(now - *since);
  if (age <= longestAge(*schedule)) return std::nullopt;
  return Overdue{age, completed.has_value()};
}

std::string overdueText(const Overdue& overdue) {
  if (!overdue.hasCompleted) return "never completed";
  return "last completed " + ageText(overdue.age) + " ago";
}

Surroundings surroundingsOfThisComputer() {
  return {mountTable().value_or(std::vector<MountEntry>()), userName(), [](const std::string& path) {
            std::error_code error;  // what cannot be looked at is not absent
            return std::filesystem::status(path, error).type() != std::filesystem::file_type::not_found;
          }};
}

std::optional<std::string> waitingFor(const PropertyList& job, const Surroundings& surroundings) {
  if (!job[kActiveKey].boolean()) return std::nullopt;
  for (const std::string& place : neededPlaces(job)) {
    if (surroundings.exists(place)) continue;
    const auto volume = volumePlace(place, surroundings);
    if (volume && !isMounted(*volume, surroundings.mounts)) return paths::lastComponent(*volume);
  }
  return std::nullopt;
}

std::string waitingText(const std::string& volume) {
  return "waiting for " + displayText(volume);
}

}  // namespace lumisk
