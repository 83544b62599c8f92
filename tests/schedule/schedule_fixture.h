#pragma once

#include <future>

#include "schedule/schedule_thread_object.h"
#include "support/home_fixture.h"
#include "support/worker_fixture.h"

namespace lumisk::test {

// Sleeps that a test ends one by one, setting the clock forward by what was asked for.
class SteppedSleep : public WakeableSleep {
 public:
  explicit SteppedSleep(FakeClock& clock) : clock_(clock) {}
  void sleep(std::chrono::nanoseconds duration) override {
    std::unique_lock lock(mutex_);
    duration_ = duration;
    ++begun_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isOver_ || isWoken_; });
    ++ended_;
    isOver_ = isWoken_ = false;
  }
  void wake() override {
    const std::lock_guard lock(mutex_);
    isWoken_ = true;
    changed_.notify_all();
  }

  // Until it sleeps, and nothing has woken it; how long it wants to.
  std::chrono::nanoseconds waitUntilAsleep() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return begun_ > ended_ && !isOver_ && !isWoken_; });
    return duration_;
  }
  void endOne() {
    const auto duration = waitUntilAsleep();
    const std::lock_guard lock(mutex_);
    clock_.advance(duration);
    isOver_ = true;
    changed_.notify_all();
  }
  void step(int sleeps = 1) {
    for (; sleeps > 0; --sleeps) {
      endOne();
      waitUntilAsleep();
    }
  }

 private:
  FakeClock& clock_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::chrono::nanoseconds duration_{};
  int begun_ = 0, ended_ = 0;
  bool isOver_ = false, isWoken_ = false;
};

// Lets runs go no further than their start while it is closed.
class RunGate {
 public:
  explicit RunGate(NotificationCenter& center) {
    observation_ = center.observe(kWillStartNotification, [this](const Notification&) {
      std::unique_lock lock(mutex_);
      ++arrived_;
      changed_.notify_all();
      changed_.wait(lock, [this] { return !isClosed_; });
    });
  }
  void set(bool closed) {
    const std::lock_guard lock(mutex_);
    isClosed_ = closed;
    changed_.notify_all();
  }
  void waitForRun() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return arrived_ > 0; });
    arrived_ = 0;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isClosed_ = false;
  int arrived_ = 0;
  NotificationCenter::Observation observation_;
};

// One scheduler of a job with a real worker, in Berlin.
class ScheduleFixture : public ::testing::Test {
 protected:
  ScheduleFixture() { kit.job.jobModifyTime = storedDate(kit.clock.now()); }
  ~ScheduleFixture() override { gate.set(false); }

  void every(std::int32_t timer, TimerUnit unit = TimerUnit::kMinutes) {
    kit.job.scheduling_method = SchedulingMethod::kTimer;
    kit.job.scheduling_timer = timer;
    kit.job.scheduling_timerUnit = unit;
  }
  void everyDayAt(int hour, int minute) {
    kit.job.scheduling_method = SchedulingMethod::kWeekDays;
    kit.job.scheduling_weekFlag.fill(true);
    kit.job.scheduling_date = CalendarDate::fromLocal(2001, 1, 1, hour, minute, 0);
  }
  void setClock(WallTime time) { kit.clock.advance(time - kit.clock.now()); }

  // Made with the job as it is then.
  scheduleThreadObject& scheduler() {
    if (!scheduler_) {
      ScheduleServices services{kit.services(),
                                [this] {
                                  auto made = std::make_unique<SteppedSleep>(kit.clock);
                                  sleep = made.get();
                                  return made;
                                },
                                kit.home / "plugin.plist"};
      services.worker.preference = [this, ask = services.worker.preference](const std::string& key) {
        if (const auto once = std::exchange(onPreference, {})) once();
        return ask(key);
      };
      scheduler_ = std::make_unique<scheduleThreadObject>(std::move(services));
      EXPECT_TRUE(fetch());
    }
    return *scheduler_;
  }
  bool fetch() { return scheduler_->fetchCurrentInfo({jobToDictionary(kit.job)}, 0); }
  void start() {
    ASSERT_TRUE(scheduler().start());
    sleep->waitUntilAsleep();
  }
  void runNow() {
    scheduler().setImmediateEvent();
    sleep->waitUntilAsleep();
  }
  // Goes no further than its beginning until the gate opens.
  void runHeld() {
    gate.set(true);
    scheduler().setImmediateEvent();
    gate.waitForRun();
  }
  std::uint64_t runs() { return scheduler().endedRuns().number; }

  ScopedVariable zone{"TZ", "Europe/Berlin"};
  WorkerFixture kit;
  RunGate gate{kit.center};
  SteppedSleep* sleep = nullptr;       // of the scheduler
  std::function<void()> onPreference;  // once, when a preference is asked for: first between decision and run
  std::unique_ptr<scheduleThreadObject> scheduler_;
};

}  // namespace lumisk::test
