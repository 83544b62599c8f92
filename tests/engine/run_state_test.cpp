#include "engine/run_state.h"

#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

using namespace std::chrono_literals;

TEST(RunState_Errors, FullDisk_OutranksLaterCodes) {
  RunFixture fixture;
  fixture.run.noteError(RunError::kFileCopy);
  fixture.run.noteError(RunError::kSymbolicLink);
  EXPECT_EQ(fixture.run.m_nErrorCode, RunError::kSymbolicLink);
  fixture.run.noteError(RunError::kOutOfSpace);
  fixture.run.noteError(RunError::kFileCopy);
  EXPECT_EQ(fixture.run.m_nErrorCode, RunError::kOutOfSpace);
  EXPECT_EQ(fixture.run.counts.errors, 4u);
}

TEST(RunState_Progress, SmallSteps_ArePostedAfterAQuarterOfASecondOnly) {
  RunFixture fixture;
  fixture.run.m_nFileTotal = 1000;
  const auto postsAt = [&](std::uint64_t count) {
    fixture.run.m_nFileCount = count;
    fixture.run.reportProgress("a", 50);
    return fixture.progress.size();
  };
  EXPECT_EQ(postsAt(0), 1u);
  EXPECT_EQ(postsAt(5), 1u);
  EXPECT_EQ(postsAt(6), 2u);
  EXPECT_EQ(postsAt(7), 2u);
  fixture.clock.advance(250ms);
  EXPECT_EQ(postsAt(7), 3u);
  EXPECT_DOUBLE_EQ(fixture.progress.back().totalPercent, 0.7);
  EXPECT_EQ(fixture.progress.back().entries, 7u);
}

TEST(RunState_Progress, TotalThatIsUnknownOrTooSmall_StaysWithinBounds) {
  RunFixture fixture;
  fixture.run.reportProgress("a", 0);
  EXPECT_EQ(fixture.progress.back().totalPercent, 0);
  fixture.run.m_nFileTotal = 10;
  fixture.run.m_nFileCount = 20;
  fixture.run.reportProgress("a", 0);
  EXPECT_EQ(fixture.progress.back().totalPercent, 100);
}

TEST(JobLog_Paths, NewlinesInNames_StayOnOneLine) {
  RecordingJobLog log;
  log.write("%s: copied %s\n", "job", shown("/a/b\njob: forged\xff").c_str());
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_EQ(std::count(log.lines[0].begin(), log.lines[0].end(), '\n'), 1);
  log.write("%s", std::string(100'000, 'x').c_str());
  EXPECT_EQ(log.lines[1].size(), 100'000u);
}

TEST(Pace_Gentle, PausesAsGiven_AndFullNever) {
  FakeClock clock;
  const Pace gentle(PaceKind::kGentle, clock);
  gentle.afterEntry(3);
  EXPECT_EQ(clock.passed(), 50us);
  gentle.afterEntry(5);
  gentle.afterChunk();
  EXPECT_EQ(clock.passed(), 210us);
  const Pace full(PaceKind::kFull, clock);
  full.afterEntry(5);
  full.afterChunk();
  EXPECT_EQ(clock.passed(), 210us);
}

}  // namespace
}  // namespace lumisk::test
