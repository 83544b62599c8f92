#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>

#include "platform/clock.h"
#include "platform/file_calls.h"
#include "platform/translation.h"

namespace lumisk {

// Numbers, sizes and dates as the user reads them: for windows only, never for files or logs. Any thread.

[[nodiscard]] std::string localCount(std::uint64_t count);  // "30,412"
[[nodiscard]] std::string localSize(std::uint64_t bytes);   // "512 B", "45.2 MB" (of 1,000,000)
[[nodiscard]] std::string localDateTime(WallTime time);     // "2026-11-21 16:48"
[[nodiscard]] std::string localDateTime(FileTime time);     // "unknown" for none
// With the distance for what is near: "today, 16:48", "yesterday, 09:12"; else the date.
[[nodiscard]] std::string localRecent(WallTime time, WallTime now);

// A translated pattern with its places filled in. One that does not fit stays as it is, with the places empty.
template <class... Arguments>
[[nodiscard]] std::string filled(const std::string& pattern, const Arguments&... arguments) {
  try {
    return fmt::format(fmt::runtime(pattern), arguments...);
  } catch (const fmt::format_error&) {
    return pattern;
  }
}
// "{} files" in the form for so many.
[[nodiscard]] std::string filledCount(const char* one, const char* many, std::uint64_t count);

}  // namespace lumisk
