#include "platform/civil_time.h"

#include <algorithm>
#include <chrono>

namespace lumisk {

namespace {

using std::chrono::seconds;

constexpr std::int64_t kEarliest = std::chrono::ceil<seconds>(WallTime::min().time_since_epoch()).count();
constexpr std::int64_t kLatest = std::chrono::floor<seconds>(WallTime::max().time_since_epoch()).count();

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool hasShape(std::string_view text, char separator) {
  constexpr std::string_view kShape = "####-##-##|##:##:##";
  return text.size() == kShape.size() &&
         std::equal(text.begin(), text.end(), kShape.begin(), [separator](char c, char wanted) {
           return wanted == '#' ? isDigit(c) : c == (wanted == '|' ? separator : wanted);
         });
}

int number(std::string_view digits) {
  int value = 0;
  for (const char digit : digits) value = value * 10 + (digit - '0');
  return value;
}

}  // namespace

std::optional<std::int64_t> utcSeconds(std::string_view text, char separator) {
  if (!hasShape(text, separator)) return std::nullopt;
  using namespace std::chrono;
  const year_month_day date{std::chrono::year(number(text.substr(0, 4))),
                            std::chrono::month(static_cast<unsigned>(number(text.substr(5, 2)))),
                            std::chrono::day(static_cast<unsigned>(number(text.substr(8, 2))))};
  const std::int64_t hour = number(text.substr(11, 2)), minute = number(text.substr(14, 2));
  const std::int64_t second = number(text.substr(17, 2));
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  return days * 86400 + hour * 3600 + minute * 60 + second;
}

bool fitsWallTime(std::int64_t seconds) {
  return seconds >= kEarliest && seconds <= kLatest;
}

WallTime wallTime(std::int64_t seconds) {
  return WallTime(std::chrono::seconds(std::clamp(seconds, kEarliest, kLatest)));
}

std::int64_t wholeSeconds(WallTime time) {
  return std::chrono::floor<seconds>(time.time_since_epoch()).count();
}

}  // namespace lumisk
