#include "platform/clock.h"

#include <sys/prctl.h>

#include <thread>

#include "platform/overslept.h"

namespace lumisk {

namespace {

using std::chrono::nanoseconds;

// Of a thread that has asked for exact sleeps.
thread_local bool sleepsExactly = false;
thread_local Overslept overslept;

void sleepExactly(nanoseconds duration) {
  const auto begin = std::chrono::steady_clock::now();
  const nanoseconds wanted = overslept.instead(duration);
  if (wanted.count() > 0) std::this_thread::sleep_for(wanted);
  overslept.paused(duration, std::chrono::steady_clock::now() - begin);
}

class SystemClock final : public Clock {
 public:
  WallTime now() const override { return std::chrono::system_clock::now(); }
  std::chrono::steady_clock::time_point steadyNow() const override { return std::chrono::steady_clock::now(); }
  void sleep(std::chrono::nanoseconds duration) override {
    sleepsExactly ? sleepExactly(duration) : std::this_thread::sleep_for(duration);
  }
};

}  // namespace

Clock& systemClock() {
  static SystemClock clock;
  return clock;
}

void askForExactSleeps() {
  ::prctl(PR_SET_TIMERSLACK, 1UL);
  sleepsExactly = true;
}

}  // namespace lumisk
