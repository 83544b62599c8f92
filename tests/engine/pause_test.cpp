// Runs that stand still for a while.

#include <cerrno>
#include <filesystem>
#include <thread>

#include "engine/run_sequence.h"
#include "support/faulty_file_calls.h"
#include "support/worker_fixture.h"

namespace lumisk::test {
namespace {

// One run on a thread of its own, which a hook between its calls pauses, and what the test does meanwhile.
class PausedRunTest : public ::testing::Test {
 protected:
  // As the worker's switches are.
  PauseSwitch pause;
  std::atomic<bool> terminate{false}, cancelled{false};
  PaceKind pace = PaceKind::kFull;
  std::size_t threads = testThreads();

  void pauseBefore(FileCall call, const FaultyFileCalls::When& when) {
    files.before(
        call, [this] { pause.set(); }, when);
  }
  RunReport run(const std::function<void()>& whileItStands) {
    WorkerServices services = f.services();
    services.threads = threads;
    RunRequest request;
    request.info = f.worker().currentJob();
    request.method = CopyMethod::kNormal;
    request.options.pace = pace;
    request.begin = f.clock.now();
    std::atomic<bool> isOver{false};
    RunReport report;
    std::thread running([&] {
      RunMemory memory;
      report = RunSequence(services, memory, request, {terminate, cancelled, &pause}, log, {}).run().report;
      isOver = true;
    });
    while (!isOver && pause.waiting() == 0) std::this_thread::yield();
    EXPECT_FALSE(isOver) << "it did not stand still";
    whileItStands();
    running.join();
    return report;
  }
  // A run before this one, so that what is deleted since counts as deleted.
  void runBefore() {
    f.clock.advance(systemClock().now() - f.clock.now() + std::chrono::seconds(10));
    EXPECT_TRUE(f.runOnce().completed);
    f.stop();
  }
  [[nodiscard]] std::string copyOf(const std::string& path) { return f.tree / ("target/source/" + path); }

  FaultyFileCalls files;
  WorkerFixture f{files};
  RecordingJobLog log;
};

TEST_F(PausedRunTest, AtAnyPaceWithAnyThreads_NothingNewIsBegun_AndItEndsWithTheSameTree) {
  for (int i = 100; i < 160; ++i) makeTree(f.tree / "source", {{"f" + std::to_string(i), File{"text", 0644, 1000}}});
  makeTree(f.tree / "source", {{"e", Dir{{"large", File{std::string(900'000, 'x'), 0644, 1000}}}}});
  for (const auto& [kind, count] : {std::pair(PaceKind::kGentle, 0), {PaceKind::kFull, 0}, {PaceKind::kFull, 3}}) {
    for (const char* const name : {"large", "f130"}) {
      SCOPED_TRACE(std::to_string(count) + name);
      std::filesystem::remove_all(f.tree / "target/source");
      files.forgetRules();
      pace = kind;
      threads = static_cast<std::size_t>(count);
      std::atomic<unsigned> doneMeanwhile{0};
      files.judge([&](const FaultyFileCalls::Made& made) {
        if (pause.isSet() && made.call == FileCall::kRename) ++doneMeanwhile;
        return 0;
      });
      pauseBefore(FileCall::kOpenFile, {.name = name});
      const RunReport report = run([&] { pause.clear(); });
      EXPECT_TRUE(report.completed);
      EXPECT_LE(doneMeanwhile, threads + 1) << "each may end what it was at";
      ExpectSameTrees(f.tree / "source", f.tree / "target/source");
    }
  }
}

TEST_F(PausedRunTest, RunThatFindsNothingToCopy_StandsStillToo) {
  runBefore();
  pauseBefore(FileCall::kStatus, {.name = "a.txt"});
  EXPECT_EQ(run([&] { pause.clear(); }).counts.copied, 0u);
}

TEST_F(PausedRunTest, CancelledOrStopped_EndsAtOnceAndLeavesNothingHalf) {
  makeTree(f.tree / "source", {{"e", Dir{{"large", File{std::string(900'000, 'x'), 0644, 1000}}}}});
  for (std::atomic<bool>* const flag : {&cancelled, &terminate}) {
    files.forgetRules();
    pauseBefore(FileCall::kOpenFile, {.name = "large"});
    EXPECT_TRUE(run([&] {
                  *flag = true;
                  pause.clear();
                }).cancelled);
    *flag = false;
    EXPECT_TRUE(listing(f.tree / "target/source/e").empty());
  }
}

TEST_F(PausedRunTest, FileThatChangesWhileItsCopyStandsStill_IsNotTakenForCarried) {
  makeTree(f.tree / "source", {{"large", File{std::string(900'000, 'x'), 0644, 1000}}});
  pauseBefore(FileCall::kOpenFile, {.name = "large"});
  run([&] {
    writeFile(f.tree / "source/large", "saved meanwhile");
    setModified(f.tree / "source/large", 1000);
    pause.clear();
  });
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_EQ(readFile(copyOf("large")), "saved meanwhile");
}

class PausedDeletionsTest : public PausedRunTest, public ::testing::WithParamInterface<JobType> {
 protected:
  PausedDeletionsTest() {
    f.job.jobType = GetParam();
    f.job.nAutoDeletion = 1;
    f.job.bMoveFileTrash = false;
    for (const char* const folder : {"e", "k"})
      makeTree(f.tree / "source", {{folder, Dir{{"x", File{"x", 0644, 1000}}, {"y", File{"y", 0644, 1000}}}}});
    runBefore();
    for (const char* const gone : {"e/x", "k/x", "k/y"})
      std::filesystem::remove(f.tree / (std::string("source/") + gone));
    // In the first folder of deletions: the run stands before the next one.
    pauseBefore(FileCall::kRemoveFile, {.name = "x"});
  }
  bool hasCopyOf(const std::string& path) { return exists(f.tree / ("target/" + path)) || exists(copyOf(path)); }
};

TEST_P(PausedDeletionsTest, WhatComesBackMeanwhile_Stays) {
  const RunReport report = run([&] {
    EXPECT_FALSE(hasCopyOf("e/x"));
    EXPECT_TRUE(hasCopyOf("k/x"));
    makeTree(f.tree / "source/k", {{"x", File{"again", 0644, 2000}}});
    pause.clear();
  });
  EXPECT_TRUE(hasCopyOf("k/x"));
  EXPECT_FALSE(hasCopyOf("k/y"));
  EXPECT_EQ(report.counts.deleted, 2u);
}

TEST_P(PausedDeletionsTest, DiskThatGoesMeanwhile_TakesNothingOfItsCopyWithIt) {
  const RunReport report = run([&] {
    files.fail(FileCall::kCheckDisk, EIO, {.times = FaultyFileCalls::kAlways});
    pause.clear();
  });
  EXPECT_TRUE(hasCopyOf("k/x") && hasCopyOf("k/y"));
  EXPECT_FALSE(report.completed);
}

INSTANTIATE_TEST_SUITE_P(EachKind, PausedDeletionsTest,
                         ::testing::Values(JobType::kBackup, JobType::kSyncWithConflicts));

// The worker's part.

class PausedWorkerTest : public ::testing::Test {
 protected:
  FaultyFileCalls files;
  WorkerFixture f{files};
  PauseAnswer answer = PauseAnswer::kNotRunning;

  void pauseAtFirstWrite() {
    files.before(FileCall::kCreateFile, [this] { answer = f.worker().pauseRun(); });
  }
  void waitUntilPaused() {
    while (!f.worker().isPaused()) std::this_thread::yield();
  }
};

TEST_F(PausedWorkerTest, RunThatIsStopped_IsWaitedForInVainByNobody) {
  EXPECT_EQ(f.worker().pauseRun(), PauseAnswer::kNotRunning);
  EXPECT_FALSE(f.worker().resumeRun());
  pauseAtFirstWrite();
  f.worker().start();
  f.worker().setCopyMethod(CopyMethod::kNormal);
  waitUntilPaused();
  f.worker().stop();
  EXPECT_EQ(answer, PauseAnswer::kDone);
  EXPECT_FALSE(f.worker().isPaused());
  EXPECT_TRUE(f.worker().lastReport().cancelled);
  EXPECT_EQ(f.worker().lastReport().counts.copied, 0u);
}

TEST_F(PausedWorkerTest, CancelEndsThePause_AndNoneComesAfterIt) {
  f.worker().start();  // made before others ask it
  pauseAtFirstWrite();
  std::thread user([&] {
    waitUntilPaused();
    f.center.post({kCancelNotification, WorkerFixture::kIndex, {}});
  });
  const RunReport report = f.runOnce();
  user.join();
  EXPECT_TRUE(report.cancelled);
  files.forgetRules();
  files.before(FileCall::kCreateFile, [this] {
    f.worker().setCancelFlag(true);
    answer = f.worker().pauseRun();
  });
  EXPECT_TRUE(f.runOnce().cancelled);
  EXPECT_EQ(answer, PauseAnswer::kNotRunning);
}

TEST_F(PausedWorkerTest, PauseThatComesTooLate_IsNoneOfTheNextRun) {
  files.before(FileCall::kCheckDisk, [this] { answer = f.worker().pauseRun(); });
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_EQ(answer, PauseAnswer::kDone);
  EXPECT_FALSE(f.worker().isPaused());
  EXPECT_TRUE(f.runOnce().completed);
}

TEST_F(PausedWorkerTest, PassOverListenedFolders_StandsStillAndGoesOn) {
  f.job.scheduling_method = SchedulingMethod::kRealTime;
  EXPECT_TRUE(f.runOnce().completed);
  makeTree(f.tree / "source", {{"new.txt", File{"new", 0644, 3000}}});
  pauseAtFirstWrite();
  std::thread user([&] {
    waitUntilPaused();
    EXPECT_FALSE(exists(f.tree / "target/source/new.txt"));
    EXPECT_TRUE(f.worker().resumeRun());
  });
  EXPECT_TRUE(f.worker().runListenedFolders({f.tree / "source/"}));
  user.join();
  EXPECT_EQ(readFile(f.tree / "target/source/new.txt"), "new");
}

}  // namespace
}  // namespace lumisk::test
