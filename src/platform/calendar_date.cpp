#include "platform/calendar_date.h"

#include <clocale>
#include <ctime>
#include <limits>

namespace lumisk {

namespace {

using std::chrono::seconds;

constexpr std::int64_t kEarliest = std::chrono::ceil<seconds>(WallTime::min().time_since_epoch()).count();
constexpr std::int64_t kLatest = std::chrono::floor<seconds>(WallTime::max().time_since_epoch()).count();

WallTime fromSeconds(std::int64_t value) {
  return WallTime(seconds(std::clamp(value, kEarliest, kLatest)));
}

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
  return localFields(std::chrono::floor<seconds>(time.time_since_epoch()).count());
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

int number(std::string_view text, std::size_t position, std::size_t digits) {
  int value = 0;
  for (const char digit : text.substr(position, digits)) value = value * 10 + (digit - '0');
  return value;
}

bool matchesPattern(std::string_view text) {
  constexpr std::string_view kPattern = "####-##-## ##:##:## s####";
  return text.size() == kPattern.size() &&
         std::equal(text.begin(), text.end(), kPattern.begin(), [](char c, char wanted) {
           if (wanted == '#') return c >= '0' && c <= '9';
           return wanted == 's' ? c == '+' || c == '-' : c == wanted;
         });
}

}  // namespace

CalendarDate::CalendarDate(WallTime time, std::string format)
    : time_(std::chrono::floor<seconds>(std::max(time, fromSeconds(kEarliest)))), format_(std::move(format)) {}

std::optional<CalendarDate> CalendarDate::parse(std::string_view text, std::string format) {
  if (!matchesPattern(text)) return std::nullopt;
  using namespace std::chrono;
  const year_month_day date{std::chrono::year(number(text, 0, 4)),
                            std::chrono::month(static_cast<unsigned>(number(text, 5, 2))),
                            std::chrono::day(static_cast<unsigned>(number(text, 8, 2)))};
  const int hour = number(text, 11, 2), minute = number(text, 14, 2), second = number(text, 17, 2);
  const int zoneHours = number(text, 21, 2), zoneMinutes = number(text, 23, 2);
  if (!date.ok() || hour > 23 || minute > 59 || second > 59 || zoneHours > 23 || zoneMinutes > 59) return std::nullopt;
  const std::int64_t offset = (zoneHours * 3600 + zoneMinutes * 60) * (text[20] == '-' ? -1 : 1);
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  const std::int64_t moment = days * 86400 + hour * 3600 + minute * 60 + second - offset;
  if (moment < kEarliest || moment > kLatest) return std::nullopt;
  return CalendarDate(fromSeconds(moment), std::move(format));
}

CalendarDate CalendarDate::fromLocal(int year, int month, int day, int hour, int minute, int second) {
  std::tm fields{};
  fields.tm_year = std::clamp(year, -1000000, 1000000) - 1900;  // far outside of what a WallTime holds
  fields.tm_mon = std::max(month, std::numeric_limits<int>::min() + 1) - 1;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  fields.tm_sec = second;
  const std::int64_t local = ::timegm(&fields);
  return CalendarDate(fromSeconds(momentOfLocal(std::clamp(local, kEarliest, kLatest))));
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
