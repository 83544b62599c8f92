#include "platform/condition_lock.h"

namespace lumisk {

void ConditionLock::lock() {
  std::unique_lock guard(mutex_);
  changed_.wait(guard, [this] { return !locked_; });
  locked_ = true;
}

void ConditionLock::unlock() {
  const std::lock_guard guard(mutex_);
  locked_ = false;
  changed_.notify_all();  // under the mutex: a waiter may destroy the lock as soon as it has seen the change
}

void ConditionLock::lockWhenCondition(int condition) {
  std::unique_lock guard(mutex_);
  changed_.wait(guard, [this, condition] { return !locked_ && condition_ == condition; });
  locked_ = true;
}

void ConditionLock::unlockWithCondition(int condition) {
  const std::lock_guard guard(mutex_);
  condition_ = condition;
  locked_ = false;
  changed_.notify_all();
}

int ConditionLock::condition() {
  const std::lock_guard guard(mutex_);
  return condition_;
}

}  // namespace lumisk
