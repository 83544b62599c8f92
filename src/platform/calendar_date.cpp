#include "platform/calendar_date.h"

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <ctime>
#include <limits>
#include <utility>

#include "platform/civil_time.h"

namespace lumisk {

namespace {

std::tm localFields(std::int64_t time) {
  ::tzset();  // localtime_r() alone would not notice that the machine's zone was changed while we run
  const auto value = static_cast<std::time_t>(time);
  std::tm fields{};
  ::localtime_r(&value, &fields);
  return fields;
}

std::int64_t offsetAt(std::int64_t time) {
  return localFields(time).tm_gmtoff;
}

std::tm localFields(WallTime time) {
  return localFields(wholeSeconds(time));
}

// mktime() decides by its earlier calls which of the two moments it means when clocks are set back; here it is always
// the first one. A local time that clocks skip is taken as if they had not been set forward yet.
std::int64_t momentOfLocal(std::int64_t local) {
  constexpr std::int64_t kDay = 86400;
  const auto before = local - offsetAt(local - kDay);
  const auto after = local - offsetAt(local + kDay);
  for (const auto candidate : {std::min(before, after), std::max(before, after)}) {
    if (candidate + offsetAt(candidate) == local) return candidate;
  }
  return before;
}

::locale_t cLocale() {
  static const ::locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

// Seconds east of Greenwich of " +0130".
std::optional<int> zoneOffset(std::string_view text) {
  if (text.size() != 6 || text[0] != ' ' || (text[1] != '+' && text[1] != '-')) return std::nullopt;
  const auto digits = text.substr(2);
  if (digits.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  const int hours = (digits[0] - '0') * 10 + digits[1] - '0', minutes = (digits[2] - '0') * 10 + digits[3] - '0';
  if (hours > 23 || minutes > 59) return std::nullopt;
  return (hours * 3600 + minutes * 60) * (text[1] == '-' ? -1 : 1);
}

}  // namespace

CalendarDate::CalendarDate(WallTime time, std::string format)
    : time_(wallTime(wholeSeconds(time))), format_(std::move(format)) {}

std::optional<CalendarDate> CalendarDate::parse(std::string_view text, std::string format) {
  constexpr std::size_t kZoneBegin = 19;
  const auto local = utcSeconds(text.substr(0, kZoneBegin), ' ');
  const auto offset = zoneOffset(text.substr(std::min(kZoneBegin, text.size())));
  if (!local || !offset || !fitsWallTime(*local - *offset)) return std::nullopt;
  return CalendarDate(wallTime(*local - *offset), std::move(format));
}

CalendarDate CalendarDate::fromLocal(int year, int month, int day, int hour, int minute, int second) {
  std::tm fields{};
  fields.tm_year = std::clamp(year, -1000000, 1000000) - 1900;  // far outside of what a WallTime holds
  fields.tm_mon = std::max(month, std::numeric_limits<int>::min() + 1) - 1;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  fields.tm_sec = second;
  return CalendarDate(wallTime(momentOfLocal(::timegm(&fields))));
}

std::string CalendarDate::description() const {
  return description(format_);
}

std::string CalendarDate::description(const std::string& format) const {
  const auto fields = localFields(time_);
  const std::string padded = "." + format;  // tells an empty result from one that did not fit
  std::string text(128, '\0');
  while (true) {
    const auto length = ::strftime_l(text.data(), text.size(), padded.c_str(), &fields, cLocale());
    if (length > 0) return text.substr(1, length - 1);
    text.resize(text.size() * 2);
  }
}

int CalendarDate::year() const {
  return localFields(time_).tm_year + 1900;
}
int CalendarDate::month() const {
  return localFields(time_).tm_mon + 1;
}
int CalendarDate::day() const {
  return localFields(time_).tm_mday;
}
int CalendarDate::dayOfWeek() const {
  return localFields(time_).tm_wday;
}
int CalendarDate::hour() const {
  return localFields(time_).tm_hour;
}
int CalendarDate::minute() const {
  return localFields(time_).tm_min;
}
int CalendarDate::second() const {
  return localFields(time_).tm_sec;
}

std::string storedDate(WallTime now) {
  return CalendarDate(now).description();
}

}  // namespace lumisk
