#include "schedule/next_run.h"

#include <gtest/gtest.h>

#include "jobs/job_record.h"

namespace lumisk {
namespace {

using Flags = std::array<bool, 7>;

PropertyList jobEvery(int count, TimerUnit unit, const std::string& modified) {
  PropertyList::Dictionary scheduling{{kMethodKey, 1}, {kTimerKey, count}, {kTimerUnitKey, static_cast<int>(unit)}};
  return PropertyList::Dictionary{{kActiveKey, true}, {kSchedulingKey, scheduling}, {kJobModifyTimeKey, modified}};
}

TEST(NextRun, Timer_NextWholePeriodAfterTheEdit) {
  const WallTime modified = CalendarDate::fromLocal(2009, 3, 3, 8, 0, 0).time();
  const auto job = jobEvery(3, TimerUnit::kHours, storedDate(modified));
  const auto after = [&](std::chrono::seconds passed) {
    return getNextScheduleString(job, modified + passed, "%d %H:%M:%S");
  };
  EXPECT_EQ(after(std::chrono::hours(7)), "03 17:00:00");
  EXPECT_EQ(after(std::chrono::hours(6)), "03 14:00:00");  // a whole number of periods: now
  EXPECT_EQ(after(std::chrono::seconds(-50)), "03 08:00:00");
  EXPECT_EQ(after(std::chrono::hours(-4)), "03 05:00:00");  // the clock was set back
  EXPECT_EQ(getNextScheduleString(jobEvery(3, TimerUnit::kHours, ""), modified, "%H"), "unknow");
  EXPECT_EQ(getNextScheduleString(jobEvery(0, TimerUnit::kHours, storedDate(modified)), modified, "%H"), "08");
  const auto other = jobEvery(3, static_cast<TimerUnit>(7), storedDate(modified));
  EXPECT_EQ(getNextScheduleString(other, modified + std::chrono::hours(7), "%H"), "08");
}

TEST(NextRun, WeekDays_TodayOnlyWhileStillToCome) {
  const auto at = CalendarDate::fromLocal(2009, 3, 1, 9, 30, 0);
  const auto tuesday = [](int hour) { return CalendarDate::fromLocal(2009, 3, 3, hour, 0, 0).time(); };
  const auto next = [&](Flags days, int hour) {
    const auto date = getDateWithDateInJob(at, days, tuesday(hour));
    return date ? CalendarDate(*date).description("%m-%d %H:%M") : "never";
  };
  constexpr Flags kTuesday{false, false, true, false, false, false, false};
  EXPECT_EQ(next(kTuesday, 9), "03-03 09:30");
  EXPECT_EQ(next(kTuesday, 10), "03-10 09:30");
  EXPECT_EQ(next({true, false, true, false, false, true, false}, 10), "03-06 09:30");
  EXPECT_EQ(next({false, true, false, false, false, false, false}, 10), "03-09 09:30");
  EXPECT_EQ(next({}, 10), "never");
}

}  // namespace
}  // namespace lumisk
