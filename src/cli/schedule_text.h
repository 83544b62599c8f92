#pragma once

#include <array>
#include <optional>
#include <string>

#include "jobs/job_record.h"

namespace lumisk {

// How schedules are spelled on the command line. Pure.

struct Interval {
  std::int32_t count = 0;
  TimerUnit unit = TimerUnit::kMinutes;
};
// "10m", "3h", "1d"; at least 1, and short enough to be counted in seconds with 32 bits.
[[nodiscard]] std::optional<Interval> parseInterval(const std::string& text);

struct TimeOfDay {
  int hour = 0;
  int minute = 0;
};
[[nodiscard]] std::optional<TimeOfDay> parseTimeOfDay(const std::string& text);  // "07:05", "21:30"

using WeekDays = std::array<bool, 7>;                                          // [0] Sunday
[[nodiscard]] std::optional<WeekDays> parseWeekDays(const std::string& text);  // "sun,mon", at least one

// How a job is triggered, in a few words: "real time", "every 10 minutes", "sun, mon at 21:30", "by hand".
[[nodiscard]] std::string scheduleText(const QUORVELPREFERENCEINFO& job);

}  // namespace lumisk
