#include "presenters/locale_text.h"

#include "platform/calendar_date.h"

namespace lumisk {

std::string localCount(std::uint64_t count) {
  const std::string separator = localThousandsSeparator();
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3;) {
    at -= 3;
    digits.insert(at, separator);
  }
  return digits;
}

std::string localSize(std::uint64_t bytes) {
  constexpr std::uint64_t kStep = 1000;
  if (bytes < kStep) return fmt::format("{} B", bytes);
  double size = static_cast<double>(bytes) / kStep;
  const char* unit = "kB";
  for (const char* larger : {"MB", "GB", "TB", "PB"}) {
    if (size < 999.95) break;  // it would be shown as 1000.0
    size /= kStep;
    unit = larger;
  }
  std::string number = fmt::format("{:.1f}", size);
  number.replace(number.size() - 2, 1, localDecimalPoint());
  return number + " " + unit;
}

std::string localDateTime(WallTime time) {
  return localDate(time) + " " + localTimeOfDay(time);
}

std::string localDateTime(FileTime time) {
  // File systems need not keep creation dates.
  if (time == FileTime{}) return translated("unknown");
  return localDateTime(WallTime(std::chrono::seconds(time.seconds)));
}

std::string localRecent(WallTime time, WallTime now) {
  const CalendarDate today(now);
  const auto dayBegin = [&](int back) {
    return CalendarDate::fromLocal(today.year(), today.month(), today.day() - back, 0, 0, 0).time();
  };
  if (time >= dayBegin(-1) || time < dayBegin(1)) return localDateTime(time);
  const std::string clockTime = localTimeOfDay(time);
  return time >= dayBegin(0) ? filled(translated("today, {}"), clockTime)
                             : filled(translated("yesterday, {}"), clockTime);
}

std::string filledCount(const char* one, const char* many, std::uint64_t count) {
  return filled(translatedCount(one, many, static_cast<unsigned long>(count)), localCount(count));
}

}  // namespace lumisk
