#include "schedule/next_run.h"

#include "jobs/job_record.h"

namespace lumisk {
namespace {

using std::chrono::seconds;

seconds unitLength(TimerUnit unit) {
  switch (unit) {
    case TimerUnit::kMinutes:
      return std::chrono::minutes(1);
    case TimerUnit::kHours:
      return std::chrono::hours(1);
    case TimerUnit::kDays:
      return std::chrono::days(1);
  }
  return seconds(0);
}

// The first moment at a whole number of periods from the last edit, before or after it, that is not in the past.
std::string nextTimerRun(const PropertyList& job, WallTime now, const std::string& dateFormat) {
  const PropertyList& scheduling = job[kSchedulingKey];
  const auto base = CalendarDate::parse(job[kJobModifyTimeKey].text());
  if (!base) return "unknow";
  const auto unit = static_cast<TimerUnit>(scheduling[kTimerUnitKey].integer32());
  const seconds period = unitLength(unit) * scheduling[kTimerKey].integer32();
  if (period <= seconds(0)) return base->description(dateFormat);
  const auto elapsed = std::chrono::floor<seconds>(now) - std::chrono::floor<seconds>(base->time());
  const std::int64_t periods = elapsed / period + (elapsed % period > seconds(0) ? 1 : 0);
  return CalendarDate(base->time() + periods * period).description(dateFormat);
}

std::string nextWeekDayRun(const PropertyList& job, WallTime now, const std::string& dateFormat) {
  const PropertyList& days = job[kSchedulingKey][kWeekOrDateKey];
  std::array<bool, 7> flags{};
  for (std::size_t day = 0; day < flags.size(); ++day) flags.at(day) = days.at(day + 1).boolean();
  const auto next = getDateWithDateInJob(CalendarDate(days.at(8).date()), flags, now);
  return next ? CalendarDate(*next).description(dateFormat) : "";
}

int secondOfDay(const CalendarDate& date) {
  return date.hour() * 3600 + date.minute() * 60 + date.second();
}

}  // namespace

std::string getNextScheduleString(const PropertyList& job, WallTime now, const std::string& dateFormat) {
  if (!job[kActiveKey].boolean()) return "The job is disable";
  const auto method = static_cast<SchedulingMethod>(job[kSchedulingKey][kMethodKey].integer32());
  switch (method) {
    case SchedulingMethod::kRealTime:
      return isOneTimeClone(static_cast<JobType>(job[kJobTypeKey].integer32()), method) ? "" : "Continuous";
    case SchedulingMethod::kTimer:
      return nextTimerRun(job, now, dateFormat);
    case SchedulingMethod::kWeekDays:
      return nextWeekDayRun(job, now, dateFormat);
    default:
      return "";
  }
}

std::optional<WallTime> getDateWithDateInJob(const CalendarDate& timeOfDay, const std::array<bool, 7>& dailyArray,
                                             WallTime now) {
  const CalendarDate today(now);
  const bool isStillToCome = secondOfDay(today) < secondOfDay(timeOfDay);
  for (int ahead = isStillToCome ? 0 : 1; ahead <= 7; ++ahead) {
    if (!dailyArray.at(static_cast<std::size_t>((today.dayOfWeek() + ahead) % 7))) continue;
    return CalendarDate::fromLocal(today.year(), today.month(), today.day() + ahead, timeOfDay.hour(),
                                   timeOfDay.minute(), timeOfDay.second())
        .time();
  }
  return std::nullopt;
}

}  // namespace lumisk
