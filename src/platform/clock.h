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
// for pauses that are shorter than the usual slack (prctl(2), PR_SET_TIMERSLACK). From then on what a sleep of the
// system clock takes too long on this thread is taken off the next ones, so that many pauses last as long as asked for
// together; at most one whole pause is owed, so that after a long interruption the thread does not hurry.
void askForExactSleeps();

}  // namespace lumisk
