#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/clock.h"

namespace lumisk {

// Seconds since 1970 of "2009-03-03T14:30:05" taken as UTC, with this separator in the middle; nothing when the text is
// anything else, an impossible day or hour included.
[[nodiscard]] std::optional<std::int64_t> utcSeconds(std::string_view text, char separator);

// A WallTime counts nanoseconds and so holds the years 1677 to 2262 only.
[[nodiscard]] bool fitsWallTime(std::int64_t seconds);
[[nodiscard]] WallTime wallTime(std::int64_t seconds);   // the nearest one that fits
[[nodiscard]] std::int64_t wholeSeconds(WallTime time);  // rounded down

}  // namespace lumisk
