#include "engine/folder_listening.h"

#include <sys/file.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/descriptor.h"
#include "support/worker_fixture.h"

// Listening with events that the test makes up, and sleeps that end when it says so.

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Sleeps until it is woken or the test lets a sleep go by.
class HeldSleeps {
 public:
  MakeSleep maker() {
    return [this] { return std::make_unique<Sleep>(*this); };
  }
  void letGo() {
    const std::lock_guard lock(mutex_);
    ++passes_;
    changed_.notify_all();
  }
  int begun() {
    const std::lock_guard lock(mutex_);
    return begun_;
  }

 private:
  class Sleep : public WakeableSleep {
   public:
    explicit Sleep(HeldSleeps& held) : held_(held) {}
    void sleep(std::chrono::nanoseconds) override {
      std::unique_lock lock(held_.mutex_);
      const auto before = held_.passes_;
      ++held_.begun_;
      held_.changed_.wait(lock, [&] { return isWoken_ || held_.passes_ != before; });
      isWoken_ = false;
    }
    void wake() override {
      const std::lock_guard lock(held_.mutex_);
      isWoken_ = true;
      held_.changed_.notify_all();
    }

   private:
    HeldSleeps& held_;
    bool isWoken_ = false;
  };
  std::mutex mutex_;
  std::condition_variable changed_;
  int passes_ = 0;
  int begun_ = 0;
};

class FolderListeningTest : public ::testing::Test {
 protected:
  FolderListeningTest() {
    f.job.scheduling_method = SchedulingMethod::kRealTime;
    f.job.bMoveFileTrash = false;
    f.eventListening = [this](copyFileThreadObject& worker) {
      return std::make_unique<FolderListening>(worker, f.files, ListeningServices{listen(), sleeps.maker()});
    };
  }
  ListenToFolders listen() {
    struct Events : FolderEvents {
      [[nodiscard]] WatchedCounts counts() const override { return {7, 1}; }
    };
    return [this](std::vector<WatchedRoot> watched, FileEventObserver told, FileEventOptions) {
      const std::lock_guard lock(mutex);
      roots = std::move(watched);
      observer = std::move(told);
      return std::make_unique<Events>();
    };
  }
  // As the job is by then; with one run of the whole job, as always.
  void start() {
    EXPECT_TRUE(f.worker().start());
    observer.onStanding();
    EXPECT_TRUE(eventually([&] { return ends(false) == 1; }));
  }
  void report(const std::vector<std::string>& folders) { observer.eventCallback(folders); }
  // Finished passes, or finished runs of the whole job.
  std::size_t ends(bool ofPasses) {
    std::size_t count = 0;
    for (const std::string& name : f.posted())
      count += name == (ofPasses ? kDidFinishNotification : kScheduleNotification);
    return ofPasses ? count - ends(false) : count;
  }
  void pass(const std::vector<std::string>& folders) {
    const std::size_t before = ends(true);
    report(folders);
    EXPECT_TRUE(eventually([&] { return ends(true) > before; }));
  }
  static bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000; ++i) {
      if (condition()) return true;
      std::this_thread::sleep_for(5ms);
    }
    return false;
  }
  std::string source(const std::string& name) const { return f.tree / ("source/" + name); }
  std::string target(const std::string& name) const { return f.tree / ("target/source/" + name); }

  WorkerFixture f;
  HeldSleeps sleeps;
  std::mutex mutex;
  std::vector<WatchedRoot> roots;
  FileEventObserver observer;
};

TEST_F(FolderListeningTest, ChangedFolder_IsCarried_AndNothingElse) {
  start();
  EXPECT_EQ(roots, std::vector<WatchedRoot>{{f.tree / "source"}});
  EXPECT_EQ(f.worker().watchedCounts().watched, 7U);
  fs::create_directories(source("e"));
  writeFile(source("d/new"), "x");
  writeFile(source("e/unreported"), "x");
  f.forget();
  pass({source("d/")});
  EXPECT_EQ(readFile(target("d/new")), "x");
  EXPECT_FALSE(exists(target("e")));
  EXPECT_THAT(f.posted(), ::testing::ElementsAre(kWillStartNotification, kDidFinishNotification));
  EXPECT_TRUE(f.last(kDidFinishNotification).userInfo.at(kRunPassKey).boolean());
  EXPECT_FALSE(f.last(kDidFinishNotification).userInfo.at(kRunCompletedKey).boolean());
  pass({source("e/")});  // not at the target: the folder around it is walked
  EXPECT_EQ(readFile(target("e/unreported")), "x");
  report({f.tree / "elsewhere/"});  // no matter of this job
  f.stop();
  EXPECT_EQ(ends(true), 2U);
}

TEST_F(FolderListeningTest, ReportedDuringARun_IsLookedAtAfterIt) {
  start();
  std::atomic<bool> isReported{false};
  const auto observation = f.center.observe(kScheduleNotification, [&](const Notification&) {
    if (isReported.exchange(true)) return;
    writeFile(source("d/late"), "x");  // after the walk
    report({source("d/")});
  });
  f.worker().setCopyMethod(CopyMethod::kNormal);
  EXPECT_TRUE(eventually([&] { return exists(target("d/late")); }));
  f.stop();
}

TEST_F(FolderListeningTest, TargetAway_NothingIsSaidOrWritten_AndTheWholeJobRunsWhenItIsBack) {
  start();
  fs::rename(f.tree / "target", f.tree / "away");
  fs::create_directory(f.tree / "target");  // the mount point without its volume
  writeFile(source("d/new"), "x");
  writeFile(source("unreported"), "x");
  report({source("d/")});
  const int before = sleeps.begun();  // the second sleep from here on follows a look at the bare mount point
  EXPECT_TRUE(eventually([&] {
    sleeps.letGo();
    return sleeps.begun() >= before + 2;
  }));
  EXPECT_EQ(listing(f.tree / "target"), std::vector<std::string>{});
  fs::remove(f.tree / "target");
  sleeps.letGo();
  fs::rename(f.tree / "away", f.tree / "target");
  EXPECT_TRUE(eventually([&] {
    sleeps.letGo();
    return ends(false) == 2;
  }));
  f.stop();
  EXPECT_EQ(readFile(target("d/new")), "x");
  EXPECT_EQ(readFile(target("unreported")), "x");
  EXPECT_TRUE(f.dialogs.pathProblems.empty());
}

TEST_F(FolderListeningTest, FollowedDeletions_OfTheFolderOnly) {
  f.job.nAutoDeletion = 1;
  start();
  fs::remove_all(source("d"));
  fs::remove(source("a.txt"));
  fs::create_directories(source("e"));
  pass({source("e/")});  // the folder around it
  EXPECT_FALSE(exists(target("d")));
  writeFile(source("e/x"), "x");
  pass({source("e/")});
  fs::remove(source("e/x"));
  writeFile(source("a.txt"), "again");
  pass({source("e/")});
  EXPECT_FALSE(exists(target("e/x")));
  EXPECT_FALSE(exists(target("a.txt")));  // was not reported
  f.stop();
}

TEST_F(FolderListeningTest, LockedTarget_IsTriedAgain) {
  start();
  writeFile(source("d/new"), "x");
  auto holder = realFileCalls().openRoot(f.tree / "target");
  ASSERT_TRUE(holder && realFileCalls().lockExclusively(holder->get()));
  pass({source("d/")});
  EXPECT_FALSE(exists(target("d/new")));
  holder->reset();
  EXPECT_TRUE(eventually([&] {
    sleeps.letGo();
    return exists(target("d/new"));
  }));
  f.stop();
  EXPECT_TRUE(f.dialogs.pathProblems.empty());
}

class TwoWayListeningTest : public FolderListeningTest {
 protected:
  TwoWayListeningTest() {
    f.job.jobType = JobType::kSyncWithConflicts;
    f.job.fileConflictType = ConflictChoice::kNewerWins;
    f.clock.advance(std::chrono::hours(24 * 365 * 30));  // later than the real dates of files
    start();
  }
  std::string there(const std::string& name) const { return f.tree / ("target/" + name); }
};

TEST_F(TwoWayListeningTest, BothSidesAreWatched_AndCarried) {
  EXPECT_EQ(roots, (std::vector<WatchedRoot>{{f.tree / "source"}, {f.tree / "target"}}));
  writeFile(there("d/made-there"), "x");
  pass({there("d/")});
  EXPECT_EQ(readFile(source("d/made-there")), "x");
  writeFile(source("made-here"), "x");
  pass({source("")});
  EXPECT_EQ(readFile(there("made-here")), "x");
  f.stop();
}

// What a pass has brought in step and was deleted later does not come back, although no run of the whole job has seen
// it.
TEST_F(TwoWayListeningTest, DeletionOfWhatAPassBrought_IsCarried) {
  writeFile(source("d/short-lived"), "x");
  f.clock.advance(std::chrono::hours(1));
  pass({source("d/")});
  ASSERT_TRUE(exists(there("d/short-lived")));
  fs::remove(there("d/short-lived"));
  f.clock.advance(std::chrono::hours(1));
  pass({there("d/")});
  EXPECT_FALSE(exists(source("d/short-lived")));
  f.stop();
}

// Else a pass would be the reason for the next.
TEST_F(TwoWayListeningTest, PassWithNothingToDo_ChangesNothing) {
  writeFile(source("d/new"), "x");
  pass({source("d/")});
  pass({there("d/"), source("d/")});
  const auto states = [&] {
    std::string all;
    for (const std::string& side : {f.tree / "source", f.tree / "target"})
      for (const std::string& name : treeListing(side)) {
        const auto path = side + "/" + name;
        const auto folder = realFileCalls().openRoot(fs::path(path).parent_path());
        const auto status = realFileCalls().status(folder->get(), fs::path(path).filename());
        if (status)
          all +=
              name + std::to_string(status->changed.seconds) + "." + std::to_string(status->changed.nanoseconds) + "\n";
      }
    return all;
  };
  const std::string before = states();
  pass({there(""), source("")});
  EXPECT_EQ(states(), before);
  f.stop();
}

// Nothing is asserted of the order; the sanitizers and the ends of the threads judge.
TEST_F(FolderListeningTest, EventsTargetsStopsAndStarts_Interleaved) {
  start();
  std::vector<std::thread> threads;
  const auto repeat = [&](auto command) {
    threads.emplace_back([command] {
      for (int i = 0; i < 40; ++i) command(i);
    });
  };
  repeat([&](int) { f.worker().stop(); });
  repeat([&](int) { f.worker().start(); });
  repeat([&](int) { f.worker().setCopyMethod(CopyMethod::kNormal); });
  repeat([&](int) { f.center.post({kCancelNotification, WorkerFixture::kIndex, {}}); });
  repeat([&](int i) {
    std::error_code ignored;
    fs::rename(f.tree / (i % 2 ? "away" : "target"), f.tree / (i % 2 ? "target" : "away"), ignored);
    sleeps.letGo();
  });
  repeat([&](int) {
    writeFile(source("d/new"), "x");
    const std::lock_guard lock(mutex);  // the stream is not made anew meanwhile
    observer.eventCallback({source("d/")});
  });
  repeat([&](int) { (void)f.worker().watchedCounts(); });
  for (std::thread& thread : threads) thread.join();
  f.stop();
}

}  // namespace
}  // namespace lumisk::test
