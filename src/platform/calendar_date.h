#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace lumisk {

// "%Y-%m-%d %H:%M:%S %z": the form of every date that is stored as a string.
inline constexpr const char* kStoredDateFormat = "%Y-%m-%d %H:%M:%S %z";
// "%I:%M %p": how a schedule's time of day is shown.
inline constexpr const char* kTimeOfDayFormat = "%I:%M %p";

// A moment, in whole seconds, with a display format, seen in the machine's local time zone. A value type.
class CalendarDate {
 public:
  CalendarDate() = default;
  explicit CalendarDate(WallTime time, std::string format = kStoredDateFormat);
  // Parses the stored form strictly ("2009-03-03 14:30:05 +0100"); nothing when it is anything else.
  static std::optional<CalendarDate> parse(std::string_view text, std::string format = kStoredDateFormat);
  // A local date and time; out-of-range fields are carried over as mktime does.
  static CalendarDate fromLocal(int year, int month, int day, int hour, int minute, int second);

  [[nodiscard]] WallTime time() const { return time_; }
  [[nodiscard]] const std::string& format() const { return format_; }
  void setFormat(std::string format) { format_ = std::move(format); }
  [[nodiscard]] std::string description() const;                           // in its own format
  [[nodiscard]] std::string description(const std::string& format) const;  // strftime(3) conversions, C locale

  // Local fields.
  [[nodiscard]] int year() const;
  [[nodiscard]] int month() const;      // 1..12
  [[nodiscard]] int day() const;        // 1..31
  [[nodiscard]] int dayOfWeek() const;  // 0 Sunday .. 6 Saturday
  [[nodiscard]] int hour() const;
  [[nodiscard]] int minute() const;
  [[nodiscard]] int second() const;

 private:
  WallTime time_{};
  std::string format_ = kStoredDateFormat;
};

// The description of `now` in the stored form.
[[nodiscard]] std::string storedDate(WallTime now);

}  // namespace lumisk
