#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "engine/listening_fixture.h"
#include "platform/descriptor.h"

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

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
