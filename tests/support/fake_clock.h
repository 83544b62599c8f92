#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include "platform/clock.h"

namespace lumisk::test {

// Stands still but for sleeps, which end at once, unless it `runs`. Any thread may read it.
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
  [[nodiscard]] std::chrono::nanoseconds passed() const {
    const std::chrono::nanoseconds advanced(passed_.load());
    return runs ? advanced + runs() : advanced;
  }

  std::atomic<int> sleeps{0};
  // Set before the clock is shared.
  std::function<void()> onSleep;
  std::function<std::chrono::nanoseconds()> runs;  // how far it has gone by itself

 private:
  std::int64_t seconds_;
  std::atomic<std::int64_t> passed_{0};
};

}  // namespace lumisk::test
