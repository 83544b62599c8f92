#pragma once

#include <chrono>

namespace lumisk {

using WallTime = std::chrono::system_clock::time_point;

// Time comes in from outside, so that nothing has to be waited for in a test. Any thread may call.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual WallTime now() const = 0;
  virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
  virtual void sleep(std::chrono::nanoseconds duration) = 0;
};

Clock& systemClock();

// Asks the kernel to end this thread's sleeps as exactly as it can (a timer slack of 1 ns instead of 50 microseconds),
// for pauses that are shorter than the usual slack. prctl(2), PR_SET_TIMERSLACK.
void askForExactSleeps();

}  // namespace lumisk
