#include "cli/schedule_text.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>

#include "cli/text_list.h"

namespace lumisk {
namespace {

constexpr std::string_view kDayNames[] = {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};
constexpr std::size_t kShortName = 3;

struct UnitName {
  char letter;
  TimerUnit unit;
  std::int64_t seconds;
  const char* word;
};
constexpr UnitName kUnits[] = {
    {'m', TimerUnit::kMinutes, 60, "minute"},
    {'h', TimerUnit::kHours, 3600, "hour"},
    {'d', TimerUnit::kDays, 86400, "day"},
};

// Digits only, all of them.
std::optional<std::int32_t> parseNumber(std::string_view digits) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool isNumber = error == std::errc() && end == digits.data() + digits.size() && digits.front() != '-';
  return isNumber ? std::optional(number) : std::nullopt;
}

std::optional<std::size_t> dayOfName(const std::string& name) {
  const std::string lowered = loweredAscii(name);
  for (std::size_t day = 0; day < std::size(kDayNames); ++day) {
    if (lowered == kDayNames[day] || lowered == kDayNames[day].substr(0, kShortName)) return day;
  }
  return std::nullopt;
}

std::string intervalText(std::int32_t count, TimerUnit unit) {
  for (const UnitName& name : kUnits) {
    if (name.unit == unit) return fmt::format("every {} {}{}", count, name.word, count == 1 ? "" : "s");
  }
  return fmt::format("every {} (unknown unit)", count);
}

std::string weekDaysText(const QUORVELPREFERENCEINFO& job) {
  std::vector<std::string> days;
  for (std::size_t day = 0; day < job.scheduling_weekFlag.size(); ++day) {
    if (job.scheduling_weekFlag[day]) days.emplace_back(kDayNames[day].substr(0, kShortName));
  }
  const std::string time = fmt::format("{:02}:{:02}", job.scheduling_date.hour(), job.scheduling_date.minute());
  return fmt::format("{} at {}", days.empty() ? "no day" : joinedTexts(days, ", "), time);
}

}  // namespace

std::optional<Interval> parseInterval(const std::string& text) {
  if (text.size() < 2) return std::nullopt;
  const auto count = parseNumber(std::string_view(text).substr(0, text.size() - 1));
  for (const UnitName& name : kUnits) {
    if (name.letter != text.back() || !count) continue;
    const bool isCountable = *count >= 1 && *count <= std::numeric_limits<std::int32_t>::max() / name.seconds;
    return isCountable ? std::optional(Interval{*count, name.unit}) : std::nullopt;
  }
  return std::nullopt;
}

std::optional<TimeOfDay> parseTimeOfDay(const std::string& text) {
  if (text.size() != 5 || text[2] != ':') return std::nullopt;
  const auto hour = parseNumber(std::string_view(text).substr(0, 2));
  const auto minute = parseNumber(std::string_view(text).substr(3));
  if (!hour || !minute || *hour > 23 || *minute > 59) return std::nullopt;
  return TimeOfDay{*hour, *minute};
}

std::optional<WeekDays> parseWeekDays(const std::string& text) {
  WeekDays days{};
  const auto names = splitAtCommas(text);
  for (const std::string& name : names) {
    const auto day = dayOfName(name);
    if (!day) return std::nullopt;
    days.at(*day) = true;
  }
  return names.empty() ? std::nullopt : std::optional(days);
}

std::string scheduleText(const QUORVELPREFERENCEINFO& job) {
  switch (job.scheduling_method) {
    case SchedulingMethod::kRealTime:
      return job.jobType == JobType::kClone ? "once, when asked to" : "real time";
    case SchedulingMethod::kTimer:
      return intervalText(job.scheduling_timer, job.scheduling_timerUnit);
    case SchedulingMethod::kWeekDays:
      return weekDaysText(job);
    default:
      return "by hand";
  }
}

}  // namespace lumisk
