#include "platform/main_loop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace lumisk {
namespace {

TEST(MainLoop, WorkOfOtherThreads_RunsInOrderOnTheMainThread) {
  MainLoop loop;
  std::vector<int> seen;
  const auto mainThread = std::this_thread::get_id();
  std::thread other([&] {
    for (int i = 0; i < 1000; ++i)
      loop.perform([&, i] {
        EXPECT_EQ(std::this_thread::get_id(), mainThread);
        seen.push_back(i);
      });
    loop.quit();
  });
  loop.run();
  other.join();
  ASSERT_EQ(seen.size(), 1000U);
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST(MainLoop, ThreadThatOutlivesTheLoop_BringsItsWorkInVain) {
  const auto held = std::make_shared<int>();
  std::function<void(std::function<void()>)> perform;
  {
    MainLoop loop;
    perform = loop.performer();
    perform([held] { FAIL() << "the loop does not run"; });
    EXPECT_EQ(held.use_count(), 2);
  }
  EXPECT_EQ(held.use_count(), 1);  // what had been brought before has gone with the loop
  std::thread([&] { perform([held] { FAIL() << "the loop has gone"; }); }).join();
  MainLoop another;
  another.quit();
  another.run();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(MainLoop, QuitBeforeRun_IsNotLostAndTheLoopRunsAgain) {
  MainLoop loop;
  int runs = 0;
  for (int i = 0; i < 3; ++i) {
    loop.quit();
    loop.perform([&] { ++runs; });
    loop.run();
  }
  EXPECT_EQ(runs, 2);  // what stands behind quit() waits for the next run
}

TEST(MainLoop, WorkThatAddsWorkForEver_LeavesTurnsToTimers) {
  MainLoop loop;
  std::function<void()> endless = [&] { loop.perform(endless); };
  endless();
  const auto timer = loop.every(std::chrono::milliseconds(1), [&] { loop.quit(); });
  loop.run();
}

TEST(MainLoop, Sources_FireUntilTheirHandlesGo) {
  MainLoop loop;
  int ticks = 0;
  MainLoop::SourceHandle timer;
  timer = loop.every(std::chrono::milliseconds(1), [&] {
    if (++ticks == 3) {
      timer.reset();  // from inside its own work
      loop.quit();
    }
  });
  loop.run();
  EXPECT_EQ(ticks, 3);

  int pipeEnds[2];
  ASSERT_EQ(::pipe(pipeEnds), 0);
  const auto readable = loop.whenReadable(pipeEnds[0], [&] { loop.quit(); });
  std::thread writer([&] { EXPECT_EQ(::write(pipeEnds[1], "x", 1), 1); });
  loop.run();
  writer.join();
  ::close(pipeEnds[0]);
  ::close(pipeEnds[1]);

  const auto signalled = loop.onSignal(SIGUSR1, [&] { loop.quit(); });
  loop.perform([] { ::kill(::getpid(), SIGUSR1); });
  loop.run();
}

TEST(MainLoop, WorkThatWaitsInALoopOfItsOwn_LetsTheRestGoOn) {
  MainLoop loop;
  bool isDone = false;
  const auto rescue = loop.every(std::chrono::seconds(20), [&] { loop.quit(); });
  loop.perform([&] {
    loop.perform([&] {
      isDone = true;
      loop.quit();
    });
    loop.run();
    EXPECT_TRUE(isDone);
    loop.quit();
  });
  loop.run();
  EXPECT_TRUE(isDone);
}

}  // namespace
}  // namespace lumisk
