#include "schedule/schedule_thread_object.h"

#include "schedule_fixture.h"

namespace lumisk::test {
namespace {

using namespace std::chrono_literals;

class ScheduleThread : public ScheduleFixture {};

TEST_F(ScheduleThread, Timer_RunsOncePerPeriodWithoutDrift) {
  every(1);
  start();
  kit.clock.advance(300ms);
  sleep->step();  // a whole second since the last edit
  EXPECT_EQ(runs(), 1u);
  EXPECT_TRUE(exists(kit.tree / "target/source/a.txt"));
  sleep->step(59);
  EXPECT_EQ(runs(), 1u);
  sleep->step(1);
  EXPECT_EQ(runs(), 2u);
  EXPECT_LE(sleep->waitUntilAsleep(), 1s);
  sleep->step(600);
  EXPECT_EQ(runs(), 12u);
}

TEST_F(ScheduleThread, Timer_ClockSetBackAndForward_NoMomentTwice) {
  every(1);
  start();
  sleep->step(61);
  EXPECT_EQ(runs(), 2u);
  kit.clock.advance(-70s);
  sleep->step(70);
  EXPECT_EQ(runs(), 2u);
  sleep->step(60);
  EXPECT_EQ(runs(), 3u);
  kit.clock.advance(24h);
  sleep->step(60);
  EXPECT_EQ(runs(), 4u) << "what was passed over is not caught up";
}

TEST_F(ScheduleThread, Timer_OfNothing_OnlyWhenAsked) {
  every(0);
  start();
  sleep->step(200);
  EXPECT_EQ(runs(), 0u);
  scheduler().setImmediateEvent();
  sleep->step();
  EXPECT_EQ(runs(), 1u);
}

TEST_F(ScheduleThread, WeekDays_EachMinuteIsLookedAtOnce) {
  everyDayAt(14, 31);  // the clock shows 14:30:05
  start();
  sleep->step(54);
  EXPECT_EQ(runs(), 0u);
  sleep->step();
  EXPECT_EQ(runs(), 1u);
  kit.clock.advance(-30s);
  sleep->step(120);
  EXPECT_EQ(runs(), 1u);
}

TEST_F(ScheduleThread, WeekDays_RestartInTheDueMinute_NoSecondRun) {
  everyDayAt(14, 30);
  kit.job.lastBeginTime = storedDate(kit.clock.now() - 2s);
  start();
  EXPECT_EQ(runs(), 0u);
  scheduler().stop();
  kit.job.lastBeginTime = storedDate(kit.clock.now() - 24h);
  scheduler_.reset();
  start();
  EXPECT_EQ(runs(), 1u);
  scheduler().stop();
  start();
  EXPECT_EQ(runs(), 1u) << "the same scheduler, started again";
}

TEST_F(ScheduleThread, RealTime_RunsOnlyWhenAsked_AndThenEverything) {
  kit.job.scheduling_method = SchedulingMethod::kRealTime;
  start();
  sleep->step(100);
  EXPECT_EQ(runs(), 0u);
  for (const bool hasOptions : {false, true}) {
    EXPECT_TRUE(hasOptions ? scheduler().requestRun({}).has_value() : scheduler().setImmediateEvent());
    sleep->step();
    EXPECT_TRUE(scheduler().endedRuns().last.wholeJob);
    EXPECT_EQ(scheduler().endedRuns().last.counts.entries, 3u) << hasOptions;
  }
}

TEST_F(ScheduleThread, NoSchedule_WaitsForRequests) {
  start();
  EXPECT_GT(sleep->waitUntilAsleep(), 1min);
  RunOptions rehearsal;
  rehearsal.dryRun = true;
  ASSERT_TRUE(scheduler().requestRun(rehearsal));
  sleep->waitUntilAsleep();
  EXPECT_EQ(scheduler().endedRuns().last.counts.copied, 2u);
  EXPECT_FALSE(exists(kit.tree / "target/source"));
  runNow();
  EXPECT_EQ(runs(), 2u);
  EXPECT_TRUE(exists(kit.tree / "target/source")) << "options hold for one run";
}

TEST_F(ScheduleThread, DuringARun_RequestsAreRefused) {
  start();
  runHeld();
  EXPECT_TRUE(scheduler().isNowCopyingFile());
  EXPECT_FALSE(scheduler().requestRun({}));
  scheduler().setImmediateEvent();
  scheduler().setCopyingState(false);
  EXPECT_TRUE(scheduler().isNowCopyingFile()) << "a pass of the listening says nothing of the run";
  gate.set(false);
  sleep->waitUntilAsleep();
  EXPECT_EQ(runs(), 1u);
  EXPECT_FALSE(scheduler().isNowCopyingFile());
  const auto progress = std::any_cast<JobProgressMessage>(kit.last(kProgressNotification).object);
  EXPECT_TRUE(progress.isFinished);
}

TEST_F(ScheduleThread, CancelBeforeTheWorkerHasTheRun_IsNotLost) {
  bool isTaken = false;
  onPreference = [&] { isTaken = scheduler().cancelRequestedRun(); };
  start();
  runNow();
  EXPECT_TRUE(isTaken);
  EXPECT_EQ(runs(), 1u);
  EXPECT_TRUE(scheduler().endedRuns().last.cancelled);
  runNow();
  EXPECT_FALSE(scheduler().endedRuns().last.cancelled) << "the next run was cancelled, too";
}

TEST_F(ScheduleThread, PauseOfARunThatIsOnlyRequested_HoldsItWhenItBegins) {
  start();
  EXPECT_EQ(scheduler().pauseRun(), PauseAnswer::kNotRunning);
  gate.set(true);
  ASSERT_TRUE(scheduler().requestRun({}));
  EXPECT_EQ(scheduler().pauseRun(), PauseAnswer::kDone);
  gate.waitForRun();
  EXPECT_TRUE(scheduler().isPaused());
  gate.set(false);
  EXPECT_TRUE(scheduler().resumeRun());
  EXPECT_FALSE(scheduler().resumeRun());
  sleep->waitUntilAsleep();
  EXPECT_TRUE(scheduler().endedRuns().last.completed);
}

TEST_F(ScheduleThread, OtherWorkerOfTheSameName_EndsNothing) {
  start();
  runHeld();
  copyFileThreadObject other(kit.services());
  kit.center.post({kScheduleNotification, &other, {}});
  EXPECT_EQ(runs(), 0u);
  EXPECT_TRUE(scheduler().isNowCopyingFile());
}

TEST_F(ScheduleThread, PaceOfScheduledRuns_FromThePreference) {
  every(1);
  start();
  sleep->step();
  const int gentleSleeps = kit.clock.sleeps;
  EXPECT_GT(gentleSleeps, 0);
  kit.preferences = PropertyList::Dictionary{{"SGCopyPace", "full"}};
  scheduler().setImmediateEvent();
  sleep->step();
  EXPECT_EQ(runs(), 2u);
  EXPECT_EQ(kit.clock.sleeps, gentleSleeps);
}

TEST_F(ScheduleThread, Restoring_HoldsRunsOffUntilItIsOver) {
  every(1);
  const PropertyList restore = PropertyList::Dictionary{
      {"ActionType", 1}, {"CopyPathArray", PropertyList::Array{"/from", kit.tree / "source/d", "/odd"}}};
  ASSERT_TRUE(writePropertyListFile(kit.home / "plugin.plist",
                                    PropertyList::Dictionary{{"JobList", PropertyList::Array{restore}}}));
  start();
  EXPECT_EQ(sleep->waitUntilAsleep(), 5s);
  scheduler().setImmediateEvent();
  sleep->step(5);
  EXPECT_EQ(runs(), 0u);
  ASSERT_TRUE(writePropertyListFile(kit.home / "plugin.plist", PropertyList::Dictionary{}));
  sleep->step();
  EXPECT_EQ(runs(), 1u);
}

TEST_F(ScheduleThread, RunningSources_AreListedDuringTheRun) {
  const std::string path = kit.home / "plugin.plist";
  ASSERT_TRUE(writePropertyListFile(path, PropertyList::Dictionary{{"kept", 1}}));
  const auto listed = [&] { return (*readPropertyListFile(path))["RunningJobSourcePath"].array().size(); };
  std::size_t during = 0;
  const auto seen = kit.center.observe(kScheduleNotification, [&](const Notification&) {
    while ((during = listed()) == 0) std::this_thread::yield();  // the scheduler writes it while the run begins
  });
  start();
  runNow();
  EXPECT_EQ(during, 1u);
  EXPECT_EQ(listed(), 0u);
}

TEST_F(ScheduleThread, Clone_IsRefusedAndNobodyWaits) {
  kit.job.jobType = JobType::kClone;
  PauseAnswer paused{};
  onPreference = [&] { paused = scheduler().pauseRun(); };
  start();
  ASSERT_TRUE(scheduler().setImmediateEvent());
  sleep->waitUntilAsleep();
  EXPECT_EQ(paused, PauseAnswer::kCannotBePaused);
  EXPECT_TRUE(scheduler().endedRuns().last.refused);
  EXPECT_FALSE(scheduler().isNowCopyingFile());
}

// Starting and stopping.

TEST_F(ScheduleThread, Start_OnlyOnceAndOnlyActive) {
  kit.job.bActive = false;
  EXPECT_FALSE(scheduler().start());
  EXPECT_FALSE(scheduler().requestRun({}));
  kit.job.bActive = true;
  ASSERT_TRUE(fetch());
  start();
  EXPECT_FALSE(scheduler().start());
  EXPECT_FALSE(scheduler().postMessage(2));
  EXPECT_TRUE(scheduler().postMessage(1));
  EXPECT_FALSE(scheduler().postMessage(1));
  EXPECT_TRUE(scheduler().stop());
  start();
}

TEST_F(ScheduleThread, Fetch_OutOfRange_ChangesOnlyTheIndex) {
  scheduler();
  const PropertyList::Array none;
  EXPECT_FALSE(scheduler().fetchCurrentInfo({PropertyList(PropertyList::Dictionary{})}, 1));
  EXPECT_FALSE(scheduler().fetchCurrentInfo(none, -1));
  EXPECT_EQ(scheduler().jobIndex(), -1);
  EXPECT_EQ(scheduler().jobName(), "job");
  EXPECT_EQ(scheduler().jobUuid(), "UUID-1");
}

TEST_F(ScheduleThread, StopInARun_EndsItAndTellsWhoWaits) {
  start();
  gate.set(true);
  ASSERT_TRUE(scheduler().requestRun({}));
  gate.waitForRun();
  auto one = std::async(std::launch::async, [&] { return scheduler().stop(); });
  auto two = std::async(std::launch::async, [&] { return scheduler().stop(); });
  while (runs() == 0) std::this_thread::yield();
  gate.set(false);
  EXPECT_TRUE(one.get() && two.get());
  EXPECT_EQ(runs(), 1u);
  EXPECT_TRUE(scheduler().endedRuns().last.cancelled);
  EXPECT_FALSE(exists(kit.tree / "target/source/a.txt"));
  EXPECT_FALSE(scheduler().isNowCopyingFile());
  start();
  ASSERT_TRUE(scheduler().requestRun({}));
  sleep->waitUntilAsleep();
  EXPECT_TRUE(scheduler().endedRuns().last.completed);
}

// For the thread sanitizer, and for whoever is stuck.
TEST_F(ScheduleThread, AnyInterleaving_NothingIsStuck) {
  scheduler();
  std::atomic<bool> isOver{false};
  const auto repeat = [&](auto&& work) {
    return std::async(std::launch::async, [&isOver, work] {
      while (!isOver) {
        work();
        std::this_thread::yield();
      }
    });
  };
  const PropertyList::Array jobs{jobToDictionary(kit.job)};
  std::vector<std::future<void>> others;
  others.push_back(repeat([&] { scheduler_->setImmediateEvent(); }));
  others.push_back(repeat([&] { (void)scheduler_->requestRun({}); }));
  others.push_back(repeat([&] { (void)scheduler_->fetchCurrentInfo(jobs, 0); }));
  others.push_back(repeat([&] { scheduler_->postMessage(1); }));
  others.push_back(repeat([&] { (void)(scheduler_->pauseRun() == PauseAnswer::kDone && scheduler_->isPaused()); }));
  others.push_back(repeat([&] { scheduler_->resumeRun(); }));
  others.push_back(repeat([&] { (void)scheduler_->endedRuns(); }));
  for (int i = 0; i < 50; ++i) {
    scheduler_->start();
    if (i % 3 == 0) std::this_thread::yield();
    scheduler_->stop();
  }
  isOver = true;
  for (auto& other : others) other.get();
  start();
  const auto before = runs();
  ASSERT_TRUE(scheduler().requestRun({}));
  sleep->waitUntilAsleep();
  EXPECT_EQ(runs(), before + 1);
}

}  // namespace
}  // namespace lumisk::test
