#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "fuzz.h"
#include "platform/calendar_date.h"

namespace {

void checkStoredForm(std::string_view text) {
  const auto date = lumisk::CalendarDate::parse(text);
  if (!date) return;
  const auto again = lumisk::CalendarDate::parse(date->description());
  require(again && again->time() == date->time(), "a date reads back as another moment");
}

void checkLocalFields(const std::uint8_t* data, std::size_t size) {
  int fields[6] = {};
  std::memcpy(fields, data, std::min(size, sizeof(fields)));
  const auto date = lumisk::CalendarDate::fromLocal(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]);
  require(date.month() >= 1 && date.month() <= 12 && date.day() >= 1 && date.day() <= 31, "an impossible day");
  require(date.hour() >= 0 && date.hour() <= 23 && date.minute() >= 0 && date.minute() <= 59, "an impossible time");
  const auto again =
      lumisk::CalendarDate::fromLocal(date.year(), date.month(), date.day(), date.hour(), date.minute(), date.second());
  require(again.description("%F %T") == date.description("%F %T"), "fields give another time");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkStoredForm({reinterpret_cast<const char*>(data), size});
  checkLocalFields(data, size);
  return 0;
}
