#include "presenters/job_list_presenter.h"

#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "support/fake_jobs_board.h"
#include "support/home_fixture.h"

namespace lumisk {
namespace {

using namespace test;

class JobListTest : public HomeFixture {
 protected:
  BoardJob makeJob(const std::string& name) { return boardJob(name, clock.now()); }
  static void set(BoardJob& job, const char* key, PropertyList value) {
    job.stored.mutableDictionary()[key] = std::move(value);
  }
  FakeClock clock;  // 2009-03-03 14:30:05, one hour east
  FakeJobsBoard board;
  JobListPresenter list{board, clock};
};

TEST_F(JobListTest, Status_IsTheWordOfTheLastRunAndWhenItWas) {
  struct Case {
    const char* lastRan;
    CancelStatus cancel;
    const char* word;
    const char* detail;
  };
  const Case cases[] = {{"", CancelStatus::kNone, "Never Ran", ""},
                        {"2009-03-03 09:12:00 +0100", CancelStatus::kNone, "Last Ran", "today, 09:12"},
                        {"2009-03-02 23:59:00 +0100", CancelStatus::kCancelled, "Cancel", "yesterday, 23:59"},
                        {"2009-02-01 10:00:00 +0100", CancelStatus::kError, "Error", "2009-02-01 10:00"},
                        {"some day", CancelStatus::kNone, "Last Ran", "some day"}};
  for (const Case& one : cases) {
    BoardJob job = makeJob("a");
    set(job, kLastRanTimeKey, one.lastRan);
    set(job, kCancelStatusKey, static_cast<std::int32_t>(one.cancel));
    const JobRow row = rowOf(job, clock.now());
    EXPECT_EQ(row.statusText, one.word);
    EXPECT_EQ(row.detailText, one.detail);
  }
}

TEST_F(JobListTest, RunningJob_ShowsItsProgressInsteadAndSaysThatSomethingFailed) {
  BoardJob job = makeJob("a");
  job.running = true;
  EXPECT_EQ(rowOf(job, clock.now()).statusText, "Starting");
  job.progress = JobProgressMessage::messageWithJobName("a", "b.txt", 43.57, 10);
  JobRow row = rowOf(job, clock.now());
  EXPECT_EQ(row.statusText, "43%");
  EXPECT_EQ(row.detailText, "b.txt");
  EXPECT_EQ(row.permille, 435);
  job.progress->totalPercent = 100;
  EXPECT_EQ(rowOf(job, clock.now()).statusText, "99%") << "it is not over";
  set(job, kCancelStatusKey, static_cast<std::int32_t>(CancelStatus::kError));
  row = rowOf(job, clock.now());
  EXPECT_EQ(row.statusText, "Generate error");
  EXPECT_EQ(row.state, RowState::kRunningWithError);
}

TEST_F(JobListTest, NextRun_IsSpokenOfAndSortedByTheMoment) {
  BoardJob job = makeJob("a");
  const auto schedule = [&](SchedulingMethod method, int hours) {
    QUORVELPREFERENCEINFO info;
    EXPECT_TRUE(jobFromDictionary(job.stored, info));
    info.scheduling_method = method;
    info.scheduling_timer = hours;
    info.scheduling_timerUnit = TimerUnit::kHours;
    info.jobModifyTime = storedDate(clock.now());
    job.stored = jobToDictionary(info);
    return rowOf(job, clock.now());
  };
  EXPECT_EQ(schedule(SchedulingMethod::kNone, 1).nextText, "By hand");
  const JobRow continuous = schedule(SchedulingMethod::kRealTime, 1);
  EXPECT_EQ(continuous.nextText, "Continuous");
  clock.advance(std::chrono::minutes(1));
  const JobRow soon = rowOf((schedule(SchedulingMethod::kTimer, 3), job), clock.now() + std::chrono::minutes(1));
  EXPECT_EQ(soon.nextText, "today, 17:31");
  const JobRow later = rowOf((schedule(SchedulingMethod::kTimer, 24), job), clock.now() + std::chrono::minutes(1));
  EXPECT_EQ(later.nextText, "tomorrow, 14:31");
  EXPECT_LT(continuous.nextOrder, soon.nextOrder);
  EXPECT_LT(soon.nextOrder, later.nextOrder);
  EXPECT_LT(later.nextOrder, schedule(SchedulingMethod::kNone, 1).nextOrder);
  set(job, kActiveKey, false);
  EXPECT_EQ(rowOf(job, clock.now()).nextText, "The job is disable");
}

TEST_F(JobListTest, MoreThanTwoPaths_AreCutShortAndKeptWhole) {
  BoardJob job = makeJob("a");
  QUORVELPREFERENCEINFO info;
  ASSERT_TRUE(jobFromDictionary(job.stored, info));
  info.sourcePaths = {"/s/1", "/s/2", "/s/3"};
  info.targetPaths = {"/t/1", "/t/2", "/t/3"};
  info.bMultipleTargetFolder = true;
  job.stored = jobToDictionary(info);
  const JobRow row = rowOf(job, clock.now());
  EXPECT_EQ(row.sourceText, "/s/1\n/s/2 . . . . . .");
  EXPECT_EQ(row.targetText, "/t/1\n/t/2 . . . . . .");
  EXPECT_EQ(row.allTargets, "/t/1\n/t/2\n/t/3");
}

TEST_F(JobListTest, OnlyRowsThatDiffer_AreTold) {
  board.list = {makeJob("a"), makeJob("b"), makeJob("c")};
  EXPECT_TRUE(list.readJobs().isReset);
  EXPECT_TRUE(list.readJobs().isEmpty());
  set(board.list[1], kActiveKey, false);
  EXPECT_EQ(list.readJobs().changed, std::vector<std::size_t>{1});
  std::swap(board.list[0], board.list[2]);
  EXPECT_TRUE(list.readJobs().isReset);
}

TEST_F(JobListTest, Progress_ReadsTheJobsOnlyWhenARunBeginsOrEnds) {
  board.list = {makeJob("a"), makeJob("b")};
  (void)list.readJobs();
  board.list[1].running = true;
  EXPECT_EQ(list.readProgress().changed, std::vector<std::size_t>{1});
  const int timesRead = board.timesRead;
  board.list[1].progress = JobProgressMessage::messageWithJobName("b", "f", 20, 0);
  EXPECT_EQ(list.readProgress().changed, std::vector<std::size_t>{1});
  EXPECT_TRUE(list.readProgress().isEmpty());
  EXPECT_EQ(board.timesRead, timesRead);
  EXPECT_EQ(list.summary(), "2 jobs, 1 running");
  board.list[1].running = false;
  set(board.list[1], kLastRanTimeKey, "2009-03-03 14:30:05 +0100");
  EXPECT_EQ(list.readProgress().changed, std::vector<std::size_t>{1});
  EXPECT_EQ(list.find("uuid-b")->statusText, "Last Ran");
}

TEST_F(JobListTest, Actions_FollowWhatIsSelected) {
  board.list = {makeJob("a"), makeJob("b"), makeJob("c")};
  board.list[1].running = true;
  set(board.list[2], kActiveKey, false);
  (void)list.readJobs();
  const JobRow *idle = &list.rows()[0], *running = &list.rows()[1], *disabled = &list.rows()[2];
  EXPECT_FALSE(actionsFor({}).canDelete);
  EXPECT_TRUE(actionsFor({idle}).canStart && actionsFor({idle}).canOpen && actionsFor({idle}).canDisable);
  EXPECT_TRUE(actionsFor({idle, running}).canStop);
  EXPECT_FALSE(actionsFor({idle, running}).canStart || actionsFor({idle, running}).canOpen);
  EXPECT_FALSE(actionsFor({disabled}).canStart);
  EXPECT_TRUE(actionsFor({disabled}).canEnable);
}

}  // namespace
}  // namespace lumisk
