#include "platform/clock.h"

#include <sys/prctl.h>

#include <thread>

namespace lumisk {

namespace {

class SystemClock final : public Clock {
 public:
  WallTime now() const override { return std::chrono::system_clock::now(); }
  std::chrono::steady_clock::time_point steadyNow() const override { return std::chrono::steady_clock::now(); }
  void sleep(std::chrono::nanoseconds duration) override { std::this_thread::sleep_for(duration); }
};

}  // namespace

Clock& systemClock() {
  static SystemClock clock;
  return clock;
}

void askForExactSleeps() {
  ::prctl(PR_SET_TIMERSLACK, 1UL);
}

}  // namespace lumisk
