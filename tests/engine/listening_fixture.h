#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/folder_listening.h"
#include "support/worker_fixture.h"

// Listening with events that the test makes up, and sleeps that end when it says so.

namespace lumisk::test {

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
  explicit FolderListeningTest(FileCalls& files = realFileCalls()) : f(files) {
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
    return [this](std::vector<WatchedRoot> watched, FileEventObserver told, FileEventOptions wishes) {
      const std::lock_guard lock(mutex);
      roots = std::move(watched);
      observer = std::move(told);
      options = std::move(wishes);
      return std::make_unique<Events>();
    };
  }
  // As the job is by then; with one run of the whole job, as always.
  void start() {
    EXPECT_TRUE(f.worker().start());
    observer.onStanding();
    // The two notifications of its end come one after the other.
    EXPECT_TRUE(eventually([&] { return ends(false) == 1 && ends(true) == 0; }));
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
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
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
  FileEventOptions options;
};

}  // namespace lumisk::test
