#include "engine/copy_file_thread_object.h"

#include <thread>

#include "support/worker_fixture.h"

// The worker as thread and mailbox. What a run does is tested in run_sequence_test.cpp.

namespace lumisk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WorkerTest : public ::testing::Test {
 protected:
  WorkerFixture f;
};

TEST_F(WorkerTest, Start_WhileItRuns_IsRefused) {
  EXPECT_TRUE(f.worker().stop());  // was never started
  EXPECT_TRUE(f.worker().start());
  EXPECT_FALSE(f.worker().start());
  EXPECT_TRUE(f.worker().stop());
  EXPECT_TRUE(f.worker().start());
  EXPECT_TRUE(f.runOnce().completed);
}

TEST_F(WorkerTest, PostMessage_OnlyTerminateOnce_EndsTheThread) {
  EXPECT_FALSE(f.worker().postMessage(1));
  f.worker().start();
  EXPECT_FALSE(f.worker().postMessage(2));
  EXPECT_TRUE(f.runOnce().completed);  // it still runs
  EXPECT_TRUE(f.worker().postMessage(1));
  EXPECT_FALSE(f.worker().postMessage(1));
  EXPECT_FALSE(f.worker().start());  // not before stop()
  EXPECT_TRUE(f.worker().stop());
  EXPECT_TRUE(std::any_cast<JobProgressMessage>(f.last(kProgressNotification).object).isFinished);
}

TEST_F(WorkerTest, FetchCurrentInfo_IndexOutOfRange_TakesOverOnlyTheIndex) {
  f.worker();
  EXPECT_FALSE(f.worker().fetchCurrentInfo({PropertyList()}, 1));
  EXPECT_FALSE(f.worker().fetchCurrentInfo({PropertyList()}, -1));
  EXPECT_EQ(f.worker().getJobIndex(), -1);
  EXPECT_EQ(f.worker().getJobName(), "job");
  EXPECT_THAT(f.worker().getSourcePaths(), ElementsAre(f.tree / "source"));
}

TEST_F(WorkerTest, Run_PostsInOrder) {
  f.runOnce();
  f.stop();
  EXPECT_THAT(f.posted(), ElementsAre(kWillStartNotification, kScheduleNotification, kDidFinishNotification));
  const auto finish = f.last(kDidFinishNotification);
  EXPECT_EQ(finish.userInfo.at(kJobIndexKey).integer32(), WorkerFixture::kIndex);
  EXPECT_EQ(finish.userInfo.at(kJobUuidKey).text(), "UUID-1");
  EXPECT_TRUE(finish.userInfo.at(kRunCompletedKey).boolean());
  EXPECT_EQ(finish.userInfo.at(kRunBeginKey), f.last(kWillStartNotification).userInfo.at(kRunBeginKey));
  EXPECT_FALSE(finish.object.has_value());
  EXPECT_EQ(std::any_cast<copyFileThreadObject*>(f.last(kScheduleNotification).object), &f.worker());
}

TEST_F(WorkerTest, FailedRun_PostsTheErrorLast_UnderTheIndexOfThatMoment) {
  f.job.sourcePaths = {f.tree / "missing"};
  f.worker().setJobIndex(1);
  EXPECT_FALSE(f.runOnce().completed);
  f.stop();
  EXPECT_THAT(f.posted(), ElementsAre(kWillStartNotification, kScheduleNotification, kDidFinishNotification,
                                      kErrorMessageNotification));
  EXPECT_EQ(std::any_cast<std::int32_t>(f.last(kErrorMessageNotification).object), 1);
  EXPECT_EQ(f.last(kDidFinishNotification).userInfo.at(kJobIndexKey).integer32(), 1);
  EXPECT_FALSE(f.last(kDidFinishNotification).userInfo.at(kRunCompletedKey).boolean());
}

TEST_F(WorkerTest, WakeUpWithNothingToDo_StillPostsTheFinish) {
  const RunReport report = f.runOnce(CopyMethod::kNothing);
  f.stop();
  EXPECT_FALSE(report.completed);
  EXPECT_THAT(f.posted(), ElementsAre(kWillStartNotification, kScheduleNotification, kDidFinishNotification));
  EXPECT_FALSE(f.last(kDidFinishNotification).userInfo.at(kRunCompletedKey).boolean());
  EXPECT_EQ(f.log(), "job: Starting running\njob: Stop running\n\n");
  EXPECT_THAT(listing(f.tree / "target"), IsEmpty());
}

TEST_F(WorkerTest, Cancellation_BeforeTheRequest_MeansAnotherRun) {
  f.worker().start();
  f.center.post({kCancelNotification, WorkerFixture::kIndex, {}});
  EXPECT_TRUE(f.runOnce().completed);
}

TEST_F(WorkerTest, Cancellation_OfAnotherJob_ChangesNothing) {
  auto watching = f.center.observe(kWillStartNotification, [this](const Notification&) {
    f.center.post({kCancelNotification, WorkerFixture::kIndex + 1, {}});
    f.center.post({kCancelNotification, std::string("2"), {}});
  });
  EXPECT_TRUE(f.runOnce().completed);
}

TEST_F(WorkerTest, ExceptionInARun_IsItsError) {
  auto services = f.services();
  services.getDataBit = [](std::int32_t) -> std::uint32_t { throw std::runtime_error("broken"); };
  copyFileThreadObject worker(services);
  ASSERT_TRUE(worker.fetchCurrentInfo({jobToDictionary(f.job)}, 0));
  worker.start();
  std::atomic<bool> finished{false};
  auto watching = f.center.observe(kErrorMessageNotification, [&](const Notification&) {
    finished = true;
    finished.notify_all();
  });
  worker.setCopyMethod(CopyMethod::kNormal);
  finished.wait(false);
  EXPECT_FALSE(worker.lastReport().completed);
  EXPECT_EQ(worker.lastReport().problemText, "unexpected failure: broken");
}

TEST_F(WorkerTest, UnknownType_StartsNothingAndStops) {
  f.job.jobType = static_cast<JobType>(9);
  EXPECT_TRUE(f.worker().start());
  EXPECT_TRUE(f.worker().stop());
  EXPECT_EQ(f.log(), "");
}

TEST_F(WorkerTest, Listening_FollowsTheSchedule) {
  struct Listening : EventListening {
    explicit Listening(std::string& told) : calls(told) {}
    void startFSEventThread() override { calls += "+"; }
    void stopFSEventThread() override { calls += "-"; }
    void startCheckTargetThreadWithoutFSEvent() override { calls += "<"; }
    void stopCheckTargetThread() override { calls += ">"; }
    std::string& calls;
  };
  const auto callsFor = [&](const QUORVELPREFERENCEINFO& job) {
    std::string calls;
    auto services = f.services();
    services.eventListening = [&](copyFileThreadObject&) { return std::make_unique<Listening>(calls); };
    copyFileThreadObject worker(services);
    EXPECT_TRUE(worker.fetchCurrentInfo({jobToDictionary(job)}, 0));
    worker.start();
    worker.setCancelFlag(false);
    worker.stop();
    return calls;
  };
  EXPECT_EQ(callsFor(f.job), "");
  f.job.dmgPath = "/image.dmg";
  EXPECT_EQ(callsFor(f.job), "<>");
  f.images.keychainOpens = true;
  EXPECT_EQ(callsFor(f.job), "");
  f.job.scheduling_method = SchedulingMethod::kRealTime;
  EXPECT_EQ(callsFor(f.job), "+-");
}

// Nothing is asserted of the order; the sanitizers and the ends of the threads judge.
TEST_F(WorkerTest, ManyThreads_CommandIt_AndItEnds) {
  auto& worker = f.worker();
  const auto job = jobToDictionary(f.job);
  std::vector<std::thread> threads;
  const auto repeat = [&](auto command) {
    threads.emplace_back([command] {
      for (int i = 0; i < 30; ++i) command();
    });
  };
  repeat([&] { worker.start(); });
  repeat([&] { worker.stop(); });
  repeat([&] { worker.setCopyMethod(CopyMethod::kNormal); });
  repeat([&] { f.center.post({kCancelNotification, WorkerFixture::kIndex, {}}); });
  repeat([&] { worker.setCancelFlag(false); });
  repeat([&] { worker.postMessage(1); });
  repeat([&] {
    worker.fetchCurrentInfo({job}, 0);
    worker.setJobIndex(WorkerFixture::kIndex);
    (void)(worker.isBusy() || worker.needScan() || worker.lastReport().completed || worker.getJobName().empty());
  });
  for (auto& thread : threads) thread.join();
  worker.stop();
  EXPECT_FALSE(worker.isBusy());
  EXPECT_TRUE(f.runOnce().completed);
  ExpectSameTrees(f.tree / "source", f.tree / "target/source");
}

}  // namespace
}  // namespace lumisk::test
