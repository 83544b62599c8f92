#include "app/foreground_run.h"

#include "app/stored_run_status.h"
#include "support/run_fixture.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using namespace test;

class CountingListening : public EventListening {
 public:
  explicit CountingListening(int& starts) : starts_(starts) {}
  void startFSEventThread() override { ++starts_; }
  void stopFSEventThread() override {}

 private:
  int& starts_;
};

class ForegroundRunTest : public ::testing::Test {
 protected:
  ForegroundRunTest() {
    setenv("LUMISK_HOME", home_.path().c_str(), 1);
    job_ = newJobDefaults(clock_.now());
    job_.name = "docs";
    job_.sourcePaths = {tree_ / "docs"};
    job_.targetPaths = {tree_ / "target"};
    job_.bDisplayWarning = false;
  }
  RunReport run() {
    const auto report = runInForeground(loop_, services_, {jobToDictionary(job_)}, 0, options_, events_);
    EXPECT_TRUE(report);
    return report.value_or(RunReport{});
  }

  static RunOptions gentle() {
    RunOptions options;
    options.pace = PaceKind::kGentle;
    return options;
  }

  TempTree home_;
  TempTree tree_{{"docs", Dir{{"large", File{std::string(1'000'000, 'x')}}, {"small", File{"s"}}}}, {"target", Dir{}}};
  QUORVELPREFERENCEINFO job_;
  FakeClock clock_;
  MainLoop loop_;
  NotificationCenter notifications_;
  RecordingDialogs dialogs_;
  NoImages images_;
  WorkerServices services_{realFileCalls(), clock_, notifications_, dialogs_, images_, {}, {}, {}};
  RunOptions options_ = gentle();
  ForegroundEvents events_;
};

TEST_F(ForegroundRunTest, RealTimeJob_RunsOnceAndListensToNothing) {
  int starts = 0;
  services_.eventListening = [&](copyFileThreadObject&) { return std::make_unique<CountingListening>(starts); };
  std::atomic<int> progress = 0;
  events_.onProgress = [&](const JobProgressMessage&) { ++progress; };
  const auto report = run();
  EXPECT_TRUE(report.completed);
  EXPECT_EQ(report.counts.copied, 2u);
  EXPECT_GT(progress, 0);
  EXPECT_EQ(starts, 0);
  ExpectSameTrees(tree_ / "docs", tree_ / "target/docs");
}

TEST_F(ForegroundRunTest, NoSuchJob_IsAnError) {
  EXPECT_FALSE(runInForeground(loop_, services_, {}, 0, options_, events_));
}

}  // namespace
}  // namespace lumisk
