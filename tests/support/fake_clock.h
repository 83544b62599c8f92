#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include "platform/clock.h"

namespace lumisk::test {

// Stands still but for sleeps, which end at once. Any thread may read it.
class FakeClock : public Clock {
 public:
  explicit FakeClock(std::int64_t secondsSince1970 = 1'236'087'005) : seconds_(secondsSince1970) {}

  WallTime now() const override {
    return WallTime(std::chrono::duration_cast<WallTime::duration>(std::chrono::seconds(seconds_) + passed()));
  }
  std::chrono::steady_clock::time_point steadyNow() const override {
    return std::chrono::steady_clock::time_point(std::chrono::hours(1) + passed());
  }
  void sleep(std::chrono::nanoseconds duration) override {
    advance(duration);
    ++sleeps;
    if (onSleep) onSleep();
  }
  void advance(std::chrono::nanoseconds duration) { passed_ += duration.count(); }
  [[nodiscard]] std::chrono::nanoseconds passed() const { return std::chrono::nanoseconds(passed_.load()); }

  std::atomic<int> sleeps{0};
  std::function<void()> onSleep;  // set before the clock is shared

 private:
  std::int64_t seconds_;
  std::atomic<std::int64_t> passed_{0};
};

}  // namespace lumisk::test
