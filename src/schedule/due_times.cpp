#include "schedule/due_times.h"

#include <algorithm>

#include "platform/civil_time.h"

namespace lumisk {
namespace {

using std::chrono::seconds;

constexpr int kRealTimeDelta = 2;
constexpr int kMinuteBits = 6;
constexpr int kHourBits = 12;

// A run begins in the second in which it is found due, or a moment later.
constexpr std::int64_t kBeginsWithin = 60;

std::int64_t localMinutes(WallTime time) {
  using namespace std::chrono;
  const CalendarDate local(time);
  const year_month_day date{year(local.year()), month(static_cast<unsigned>(local.month())),
                            day(static_cast<unsigned>(local.day()))};
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  return (days * 24 + local.hour()) * 60 + local.minute();
}

}  // namespace

std::optional<seconds> timerInterval(std::int32_t timer, TimerUnit unit) {
  if (timer <= 0) return std::nullopt;
  switch (unit) {
    case TimerUnit::kHours:
      return std::chrono::hours(timer);
    case TimerUnit::kDays:
      return std::chrono::days(timer);
    default:
      return std::chrono::minutes(timer);
  }
}

std::optional<DueMoment> timerDue(WallTime base, seconds interval, WallTime now) {
  const std::int64_t elapsed = wholeSeconds(now) - wholeSeconds(base);
  if (elapsed % interval.count() != 1) return std::nullopt;
  return DueMoment{SchedulingMethod::kTimer, wholeSeconds(now) - 1};
}

std::optional<DueMoment> weekDayDue(const std::array<bool, 7>& days, const CalendarDate& timeOfDay, WallTime now) {
  const CalendarDate local(now);
  if (local.hour() != timeOfDay.hour() || local.minute() != timeOfDay.minute()) return std::nullopt;
  if (!days.at(static_cast<std::size_t>(local.dayOfWeek()))) return std::nullopt;
  return DueMoment{SchedulingMethod::kWeekDays, localMinutes(now)};
}

bool wasBegunFor(const DueMoment& due, WallTime begin) {
  if (due.method == SchedulingMethod::kWeekDays) return localMinutes(begin) == due.moment;
  const std::int64_t began = wholeSeconds(begin);
  return began >= due.moment && began < due.moment + kBeginsWithin;
}

int packedTime(WallTime now) {
  const CalendarDate local(now);
  return (local.hour() << kHourBits) | (local.minute() << kMinuteBits) | local.second();
}

bool realTimeDue(RealTimeBase& base, int stamp, bool forced) {
  if (base.isToBeTaken) base.stamp = stamp;
  const int delta = forced ? kRealTimeDelta : stamp - base.stamp;
  const bool isDue = delta >= kRealTimeDelta;
  base.isToBeTaken = delta < 0 || isDue;
  return isDue;
}

bool ServedMoments::contains(const DueMoment& due) const {
  return std::find(moments_.begin(), moments_.end(), due) != moments_.end();
}

void ServedMoments::add(const DueMoment& due) {
  moments_.push_back(due);
  if (moments_.size() > kMost) moments_.pop_front();
}

}  // namespace lumisk
