#include "presenters/locale_text.h"

#include "platform/calendar_date.h"
#include "platform/number_text.h"

namespace lumisk {

std::string localCount(std::uint64_t count) {
  return countText(count, localThousandsSeparator());
}

std::string localSize(std::uint64_t bytes) {
  return bytesText(bytes, localDecimalPoint());
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
