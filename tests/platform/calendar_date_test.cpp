#include "platform/calendar_date.h"

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "platform/overslept.h"
#include "support/home_fixture.h"

namespace lumisk {
namespace {

using std::chrono::seconds;

WallTime at(std::int64_t time) {
  return WallTime(seconds(time));
}
std::int64_t secondsOf(const CalendarDate& date) {
  return std::chrono::duration_cast<seconds>(date.time().time_since_epoch()).count();
}

struct InZone : test::ScopedVariable {
  explicit InZone(const char* zone) : ScopedVariable("TZ", zone) {}
};

constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(Overslept, PausesThatLastTooLong_AreMadeUpForByTheNext) {
  using std::chrono::microseconds;
  const microseconds pause(80);
  Overslept overslept;
  microseconds total(0);
  for (int i = 0; i < 100; ++i) {  // each lasts 30 longer than asked
    const auto lasted = std::chrono::duration_cast<microseconds>(overslept.instead(pause)) + microseconds(30);
    overslept.paused(pause, lasted);
    total += lasted;
  }
  EXPECT_EQ(total, 100 * pause + microseconds(30));
  overslept.paused(pause, seconds(3));  // interrupted: no more than the next pause is left out for it
  EXPECT_EQ(overslept.instead(pause).count(), 0);
  overslept.paused(pause, seconds(0));
  EXPECT_EQ(overslept.instead(pause), pause);
}

TEST(CalendarDate, Description_IsInTheLocalZone) {
  const InZone zone(kBerlin);
  EXPECT_EQ(storedDate(at(1236087005)), "2009-03-03 14:30:05 +0100");
  EXPECT_EQ(storedDate(at(1246624205)), "2009-07-03 14:30:05 +0200");
  EXPECT_EQ(CalendarDate(at(1236087005), kTimeOfDayFormat).description(), "02:30 PM");
  EXPECT_EQ(CalendarDate(at(0)).description(""), "");
  EXPECT_EQ(CalendarDate(at(0)).description(std::string(300, 'x')), std::string(300, 'x'));
}

TEST(CalendarDate, TimeBeforeTheEpochWithFraction_IsRoundedDown) {
  const InZone zone("UTC0");
  EXPECT_EQ(storedDate(at(-1) - std::chrono::nanoseconds(1)), "1969-12-31 23:59:58 +0000");
}

TEST(CalendarDate, Parse_TakesTheStoredFormOnly) {
  EXPECT_EQ(secondsOf(CalendarDate::parse("2009-03-03 14:30:05 +0100").value()), 1236087005);
  EXPECT_EQ(secondsOf(CalendarDate::parse("2009-03-03 04:30:05 -0930").value()), 1236088805);
  EXPECT_EQ(CalendarDate::parse("2012-02-29 00:00:00 +0000", kTimeOfDayFormat).value().format(), kTimeOfDayFormat);
  // clang-format off
  for (const char* text : {
           "", "2009-03-03", "2009-03-03 14:30:05", "2009-03-03 14:30:05 +01:00", "2009-03-03 14:30:05 +0100 ",
           " 2009-03-03 14:30:05 +0100", "2009-3-03 14:30:05 +01000", "2009-02-29 14:30:05 +0100",
           "2009-13-01 14:30:05 +0100", "2009-00-01 14:30:05 +0100", "2009-03-00 14:30:05 +0100",
           "2009-03-03 24:00:00 +0100", "2009-03-03 14:60:05 +0100", "2009-03-03 14:30:60 +0100",
           "2009-03-03 14:30:05  0100", "2009-03-03 14:30:05 +0160", "2009-03-03 14:30:05 +2400",
           "2009-03-03T14:30:05 +0100", "+009-03-03 14:30:05 +0100", "9999-03-03 14:30:05 +0100",
           "0001-01-01 00:00:00 +0000"
       })
    // clang-format on
    EXPECT_FALSE(CalendarDate::parse(text)) << text;
}

RC_GTEST_PROP(CalendarDate, AnyMoment_SurvivesItsStoredForm, ()) {
  const InZone zone(*rc::gen::element(kBerlin, "UTC0", "<-0930>9:30", "NPT-5:45", "NZST-12NZDT,M9.5.0,M4.1.0/3"));
  const auto moment = *rc::gen::inRange<std::int64_t>(-9000000000, 9000000000);
  const auto date = CalendarDate::parse(storedDate(at(moment)));
  RC_ASSERT(date.has_value());
  RC_ASSERT(secondsOf(*date) == moment);
}

RC_GTEST_PROP(CalendarDate, LocalFieldsOfAMoment_GiveTheSameWallClock, ()) {
  const InZone zone(
      *rc::gen::element(kBerlin, "UTC0", "EST5EDT,M3.2.0,M11.1.0", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0"));
  const CalendarDate date(at(*rc::gen::inRange<std::int64_t>(0, 4000000000)));
  const auto again =
      CalendarDate::fromLocal(date.year(), date.month(), date.day(), date.hour(), date.minute(), date.second());
  RC_ASSERT(again.description("%F %T") == date.description("%F %T"));
  RC_ASSERT(again.time() <= date.time());  // the first one where the hour comes twice
}

TEST(CalendarDateFromLocal, OutOfRangeFields_AreCarriedOver) {
  const InZone zone(kBerlin);
  EXPECT_EQ(CalendarDate::fromLocal(2009, 13, 32, 24, 60, 61).description(), "2010-02-02 01:01:01 +0100");
  EXPECT_EQ(CalendarDate::fromLocal(2009, 3, 0, 0, 0, 0).description(), "2009-02-28 00:00:00 +0100");
  for (const int extreme : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    const auto year = CalendarDate::fromLocal(extreme, extreme, extreme, extreme, extreme, extreme).year();
    EXPECT_EQ(year, extreme < 0 ? 1677 : 2262);
  }
}

TEST(CalendarDateFromLocal, ClocksSetForwardAndBack_GiveOneDefiniteMoment) {
  const InZone zone(kBerlin);
  EXPECT_EQ(CalendarDate::fromLocal(2009, 3, 29, 2, 30, 0).description(), "2009-03-29 03:30:00 +0200");
  EXPECT_EQ(CalendarDate::fromLocal(2009, 10, 25, 2, 30, 0).description(), "2009-10-25 02:30:00 +0200");
  EXPECT_EQ(CalendarDate::fromLocal(2009, 10, 25, 3, 0, 0).description(), "2009-10-25 03:00:00 +0100");
  // A day later by the clock is 23 hours later here.
  const auto before = CalendarDate::fromLocal(2009, 3, 28, 12, 0, 0),
             after = CalendarDate::fromLocal(2009, 3, 29, 12, 0, 0);
  EXPECT_EQ(secondsOf(after) - secondsOf(before), 23 * 3600);
  EXPECT_EQ(after.dayOfWeek(), 0);
}

}  // namespace
}  // namespace lumisk
