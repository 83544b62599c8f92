// How numbers, schedules and jobs are written and read.
#include <nlohmann/json.hpp>

#include "cli/json_text.h"
#include "cli/progress_line.h"
#include "cli/run_summary.h"
#include "cli/schedule_text.h"
#include "cli/text_list.h"
#include "platform/number_text.h"
#include "platform/terminal.h"

namespace lumisk {
namespace {

TEST(NumberText, ForPeople_GroupedAndWithUnits) {
  EXPECT_EQ(countText(0), "0");
  EXPECT_EQ(countText(999), "999");
  EXPECT_EQ(countText(30412), "30,412");
  EXPECT_EQ(countText(18446744073709551615ull), "18,446,744,073,709,551,615");
  EXPECT_EQ(bytesText(999), "999 B");
  EXPECT_EQ(bytesText(1000), "1.0 kB");
  EXPECT_EQ(bytesText(999'960), "1.0 MB");
  EXPECT_EQ(bytesText(45'200'000), "45.2 MB");
  EXPECT_EQ(durationText(3.44), "3.4 s");
  EXPECT_EQ(durationText(59.97), "1 min 0 s");
  EXPECT_EQ(durationText(7260), "2 h 1 min");
}

TEST(ScheduleText, Interval_OnlyWholePositiveAndCountable) {
  EXPECT_EQ(parseInterval("10m")->unit, TimerUnit::kMinutes);
  EXPECT_EQ(parseInterval("3h")->count, 3);
  EXPECT_EQ(parseInterval("24855d")->count, 24855);  // the most that 32 bits of seconds hold
  for (const char* wrong :
       {"", "m", "0m", "-1h", "+1h", "1.5h", "10", "10s", "10 m", "m10", "24856d", "99999999999d"}) {
    EXPECT_FALSE(parseInterval(wrong)) << wrong;
  }
}

TEST(ScheduleText, TimeAndDays_OnlyWellFormed) {
  EXPECT_EQ(parseTimeOfDay("07:05")->minute, 5);
  EXPECT_EQ(parseTimeOfDay("23:59")->hour, 23);
  for (const char* wrong : {"", "7:05", "24:00", "12:60", "12-30", "-1:30", "12:3x"})
    EXPECT_FALSE(parseTimeOfDay(wrong));
  EXPECT_EQ(parseWeekDays("sun,Wednesday"), (WeekDays{true, false, false, true, false, false, false}));
  for (const char* wrong : {"", ",", "someday", "mo", "mon;tue"}) EXPECT_FALSE(parseWeekDays(wrong)) << wrong;
}

TEST(JsonText, OddBytes_LoseNothing) {
  EXPECT_EQ(printedJson(jsonOfText("gr\xc3\xbc\xc3\x9f\n")), "\"gr\xc3\xbc\xc3\x9f\\n\"\n");
  EXPECT_EQ(jsonOfText("a\xff").dump(), R"({"base64":"Yf8="})");
  const PropertyList list = PropertyList::Dictionary{{"k\xff", PropertyList::Array{true, 5, "x"}}, {"n", 0.5}};
  EXPECT_NO_THROW((void)printedJson(jsonOfPropertyList(list)));
}

TEST(ProgressLine, AnyTerminal_NeverWider) {
  JobProgressMessage message;
  message.totalPercent = 42.7;
  message.entries = 12345;
  message.entriesTotal = 30412;
  message.bytes = 24'000'000;
  message.fileName = "\xe5\x86\x99\xe7\x9c\x9f\n.jpg";
  EXPECT_EQ(progressLine(message, 2, 200),
            " 42%  12,345 of 30,412 entries  24.0 MB  12.0 MB/s  \xe5\x86\x99\xe7\x9c\x9f\\x0A.jpg");
  for (int columns = 1; columns < 90; ++columns) {
    EXPECT_LT(terminal::columnsOf(progressLine(message, 2, columns)), columns);
  }
}

TEST(RunSummary, EachEnding_HasItsNameAndStatus) {
  RunReport done;
  done.completed = true;
  RunReport cancelled;
  cancelled.cancelled = true;
  RunReport held = done;
  held.counts.held = 1;
  RunReport heldAndWrong = held;
  heldAndWrong.counts.errors = 1;
  RunReport refused;
  refused.refused = true;
  EXPECT_EQ(exitStatus(endingOf(done)), 0);
  EXPECT_EQ(exitStatus(endingOf(cancelled)), 130);
  EXPECT_EQ(exitStatus(endingOf(held)), 1);
  EXPECT_EQ(resultOf(held), RunOutcome::kHeld);
  EXPECT_EQ(resultOf(heldAndWrong), RunOutcome::kError);
  EXPECT_EQ(exitStatus(endingOf(refused)), 2);
  EXPECT_EQ(exitStatus(endingOf(RunReport{})), 1);
}

TEST(RunSummary, ForPeople_OneOrTwoCalmLines) {
  RunReport report;
  report.completed = true;
  report.seconds = 3.44;
  report.counts.entries = 30412;
  report.counts.copied = 1203;
  report.counts.bytes = 45'200'000;
  EXPECT_EQ(summaryText(report, RunKind::kReal), "30,412 entries, 1,203 copied (45.2 MB) in 3.4 s\n");
  report.counts.skipped = 4;
  report.counts.errors = 1;
  EXPECT_EQ(summaryText(report, RunKind::kReal),
            "Incomplete: 30,412 entries, 1,203 copied (45.2 MB) in 3.4 s\n4 left out, 1 error\n");
}

}  // namespace
}  // namespace lumisk
