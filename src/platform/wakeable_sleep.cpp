#include "platform/wakeable_sleep.h"

#include <condition_variable>
#include <mutex>

namespace lumisk {
namespace {

class RealSleep : public WakeableSleep {
 public:
  void sleep(std::chrono::nanoseconds duration) override {
    std::unique_lock lock(mutex_);
    woken_.wait_for(lock, duration, [this] { return isWoken_; });
    isWoken_ = false;
  }
  void wake() override {
    {
      const std::lock_guard lock(mutex_);
      isWoken_ = true;
    }
    woken_.notify_one();
  }

 private:
  std::mutex mutex_;
  std::condition_variable woken_;
  bool isWoken_ = false;
};

}  // namespace

std::unique_ptr<WakeableSleep> makeRealSleep() {
  return std::make_unique<RealSleep>();
}

}  // namespace lumisk
