#pragma once

#include <array>
#include <optional>
#include <string>

#include "platform/calendar_date.h"
#include "platform/property_list.h"

namespace lumisk {

// When a stored job runs next, as text: a date in `dateFormat`, "Continuous" for real time, "The job is disable",
// "unknow" for a timer without a beginning, and nothing for a job that is run by hand. Pure but for the time zone.
[[nodiscard]] std::string getNextScheduleString(const PropertyList& job, WallTime now, const std::string& dateFormat);

// The next moment with this time of day on one of the days ([0] Sunday); nothing when no day is set.
[[nodiscard]] std::optional<WallTime> getDateWithDateInJob(const CalendarDate& timeOfDay,
                                                           const std::array<bool, 7>& dailyArray, WallTime now);

}  // namespace lumisk
