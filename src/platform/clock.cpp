#include "platform/clock.h"

#include <sys/prctl.h>

#include <algorithm>
#include <thread>

namespace lumisk {

namespace {

using std::chrono::nanoseconds;

// Of a thread that has asked for exact sleeps.
thread_local bool sleepsExactly = false;
thread_local nanoseconds overslept{0};

// A sleep lasts some 30 microseconds longer than asked for, until the thread runs again. The next is shorter by that,
// at most by all of it, so that many short pauses last as long as they are meant to.
void sleepExactly(nanoseconds duration) {
  const auto begin = std::chrono::steady_clock::now();
  const nanoseconds wanted = std::max(nanoseconds(0), duration - overslept);
  if (wanted.count() > 0) std::this_thread::sleep_for(wanted);
  const nanoseconds late = std::chrono::steady_clock::now() - begin - wanted;
  overslept = std::min(late + overslept - (duration - wanted), duration);
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
