#include "schedule/due_times.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "support/home_fixture.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;
using std::chrono::seconds;
using Flags = std::array<bool, 7>;
constexpr Flags kEveryDay{true, true, true, true, true, true, true};

class DueTimes : public ::testing::Test {
 protected:
  test::ScopedVariable zone_{"TZ", "Europe/Berlin"};
};

WallTime local(int month, int day, int hour, int minute, int second = 0) {
  return CalendarDate::fromLocal(2009, month, day, hour, minute, second).time();
}

CalendarDate at(int hour, int minute) {
  return CalendarDate::fromLocal(2001, 7, 1, hour, minute, 17);
}

TEST_F(DueTimes, Interval_ByUnitAndOnlyWhenPositive) {
  EXPECT_EQ(timerInterval(3, TimerUnit::kMinutes), 180s);
  EXPECT_EQ(timerInterval(3, TimerUnit::kHours), 3h);
  EXPECT_EQ(timerInterval(3, TimerUnit::kDays), 72h);
  EXPECT_EQ(timerInterval(3, static_cast<TimerUnit>(3)), 180s);
  EXPECT_EQ(timerInterval(2'000'000'000, TimerUnit::kDays)->count(), 172'800'000'000'000);
  EXPECT_FALSE(timerInterval(0, TimerUnit::kMinutes));
  EXPECT_FALSE(timerInterval(-5, TimerUnit::kHours));
}

TEST_F(DueTimes, Timer_OnceInEachPeriodAndNeverBeforeItsBase) {
  const WallTime base = local(3, 3, 8, 0, 30);
  const auto due = [&](std::chrono::milliseconds passed) { return timerDue(base, 600s, base + passed).has_value(); };
  for (const auto passed : {1s, 601s, 1201s}) {
    EXPECT_TRUE(due(passed));
    EXPECT_TRUE(due(passed + 999ms));
    EXPECT_FALSE(due(passed - 1ms));
    EXPECT_FALSE(due(passed + 1s));
  }
  for (const auto passed : {-1s, -599s, -600s, -601s}) EXPECT_FALSE(due(passed)) << passed.count();
  EXPECT_EQ(timerDue(base, 600s, base + 601s)->moment, timerDue(base + 600s, 600s, base + 601s)->moment);
}

// Passes at any whole second of one period find exactly one moment.
TEST_F(DueTimes, Timer_AnyPeriod_HasOneSecond) {
  EXPECT_TRUE(rc::check([] {
    const auto interval = seconds(*rc::gen::inRange(60, 4000));
    const WallTime base = local(3, 3, 8, 0);
    const auto start = seconds(*rc::gen::inRange(1, 100'000));
    int found = 0;
    for (auto passed = start; passed < start + interval; ++passed)
      found += timerDue(base, interval, base + passed) ? 1 : 0;
    RC_ASSERT(found == 1);
  }));
}

TEST_F(DueTimes, WeekDays_TheWholeMinuteOfASetDay) {
  Flags tuesday{};
  tuesday[2] = true;
  EXPECT_TRUE(weekDayDue(tuesday, at(23, 59), local(3, 3, 23, 59)));
  EXPECT_TRUE(weekDayDue(tuesday, at(23, 59), local(3, 3, 23, 59, 59)));
  EXPECT_FALSE(weekDayDue(tuesday, at(23, 59), local(3, 4, 0, 0)));
  EXPECT_FALSE(weekDayDue(tuesday, at(0, 0), local(3, 4, 0, 0)));
  EXPECT_FALSE(weekDayDue(tuesday, at(23, 59), local(3, 2, 23, 59)));
  EXPECT_FALSE(weekDayDue({}, at(23, 59), local(3, 3, 23, 59)));
}

TEST_F(DueTimes, WeekDays_ClockChanges_OneMomentOrNone) {
  // 2009-10-25: 02:30 comes twice, an hour apart.
  const WallTime first = local(10, 25, 2, 30);
  const auto due = weekDayDue(kEveryDay, at(2, 30), first);
  ASSERT_TRUE(due);
  EXPECT_EQ(weekDayDue(kEveryDay, at(2, 30), first + 1h), due);
  EXPECT_NE(weekDayDue(kEveryDay, at(2, 30), first + 25h), due);
  EXPECT_TRUE(wasBegunFor(*due, first + 1h + 20s));
  EXPECT_FALSE(wasBegunFor(*due, first + 60s));
  // 2009-03-29: 02:30 does not come.
  const WallTime midnight = local(3, 29, 0, 0);
  for (auto passed = 0min; passed < 23h; ++passed) EXPECT_FALSE(weekDayDue(kEveryDay, at(2, 30), midnight + passed));
}

TEST_F(DueTimes, Timer_BegunFor_OnlyRightAfterTheMoment) {
  const WallTime moment = local(3, 3, 8, 0);
  const auto due = timerDue(moment, 600s, moment + 1s);
  EXPECT_TRUE(wasBegunFor(*due, moment + 2s));
  EXPECT_FALSE(wasBegunFor(*due, moment - 1s));
  EXPECT_FALSE(wasBegunFor(*due, moment + 60s));
}

TEST_F(DueTimes, RealTime_TwoPackedSecondsAfterItsBase) {
  RealTimeBase base;
  const int noon = packedTime(local(3, 3, 12, 0));
  EXPECT_EQ(noon, 12 * 4096);
  EXPECT_FALSE(realTimeDue(base, noon, false));
  EXPECT_FALSE(realTimeDue(base, noon + 1, false));
  EXPECT_TRUE(realTimeDue(base, noon + 2, false));
  EXPECT_FALSE(realTimeDue(base, noon + 30, false)) << "a run is followed by a base";
  EXPECT_FALSE(realTimeDue(base, packedTime(local(3, 4, 0, 0)), false)) << "midnight";
  EXPECT_FALSE(realTimeDue(base, packedTime(local(3, 4, 0, 1)), false)) << "a base again";
  EXPECT_TRUE(realTimeDue(base, packedTime(local(3, 4, 0, 2)), false));
  EXPECT_TRUE(realTimeDue(base, 0, true));
}

}  // namespace
}  // namespace lumisk
