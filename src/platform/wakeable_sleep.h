#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace lumisk {

// A sleep that another thread can end. Comes in from outside, so that tests do not wait.
class WakeableSleep {
 public:
  virtual ~WakeableSleep() = default;
  // Until the time is over or wake() is called; one that was called since the last sleep ends this one at once. One
  // thread sleeps at a time. The time that the machine spent asleep may count or not.
  virtual void sleep(std::chrono::nanoseconds duration) = 0;
  virtual void wake() = 0;  // any thread
};

using MakeSleep = std::function<std::unique_ptr<WakeableSleep>()>;
[[nodiscard]] std::unique_ptr<WakeableSleep> makeRealSleep();

}  // namespace lumisk
