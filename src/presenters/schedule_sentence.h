#pragma once

#include <optional>
#include <string>

#include "jobs/job_record.h"

namespace lumisk {

// When a job runs, for people. Pure but for the time zone.

// "every weekday at 21:05", "every 10 minutes", "as soon as something changes", "only when you start it"
[[nodiscard]] std::string scheduleSentence(const QUORVELPREFERENCEINFO& job);

// When it would run first by its clock if it were stored now; nothing for a job that does not go by the clock.
[[nodiscard]] std::optional<WallTime> firstScheduledRun(const QUORVELPREFERENCEINFO& job, WallTime now);

[[nodiscard]] std::string dayName(std::size_t day);       // "Monday" of 1; 0 is Sunday
[[nodiscard]] std::string shortDayName(std::size_t day);  // "Mon"

// "a", "a and b", "a, b and c"
[[nodiscard]] std::string enumeration(const std::vector<std::string>& parts);

}  // namespace lumisk
