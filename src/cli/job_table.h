#pragma once

#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/property_list.h"

namespace lumisk {

// How jobs are listed. Pure.

// The status column's text in one line: "Never Ran", or a word and the last run; a run that began and has not ended, as
// far as the store knows, says so instead.
[[nodiscard]] std::string statusLine(const PropertyList& job);
[[nodiscard]] std::string jobTable(const PropertyList::Array& jobs, WallTime now);
[[nodiscard]] std::string noJobsText();
inline constexpr const char* kShortDateFormat = "%Y-%m-%d %H:%M";  // of the dates in tables

// When a job runs next: a date in this format, or a few words.
[[nodiscard]] std::string nextRunText(const PropertyList& job, WallTime now, const char* dateFormat);
[[nodiscard]] std::string nextTable(const PropertyList::Array& jobs, WallTime now);
[[nodiscard]] std::string nextJson(const PropertyList::Array& jobs, WallTime now);  // of objects with name and next

// An array of objects with index, name, type, active, status, lastRan, next, sources, targets.
[[nodiscard]] std::string jobListJson(const PropertyList::Array& jobs, WallTime now);

// One job in full, a line for each setting.
[[nodiscard]] std::string jobDescription(const PropertyList& job, WallTime now);

// Rows of texts as columns, as wide as their widest text, two blanks between them.
[[nodiscard]] std::string columnsText(const std::vector<std::vector<std::string>>& rows);

}  // namespace lumisk
