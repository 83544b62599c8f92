#pragma once

#include <condition_variable>
#include <mutex>
#include <utility>

namespace lumisk {

// A lock with an integer condition: threads wait until it has a certain value. Not recursive. The thread that locked it
// unlocks it.
class ConditionLock {
 public:
  explicit ConditionLock(int condition = 0) : condition_(condition) {}

  void lock();
  void unlock();
  void lockWhenCondition(int condition);  // blocks until the lock is free and has this condition
  void unlockWithCondition(int condition);
  [[nodiscard]] int condition();  // a snapshot

  // Locks for a scope; with a condition, waits for it first. release(n) unlocks early and sets the condition.
  class Guard {
   public:
    explicit Guard(ConditionLock& lock) : lock_(&lock) { lock.lock(); }
    Guard(ConditionLock& lock, int condition) : lock_(&lock) { lock.lockWhenCondition(condition); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    ~Guard() {
      if (lock_) lock_->unlock();
    }
    void release() { std::exchange(lock_, nullptr)->unlock(); }
    void release(int condition) { std::exchange(lock_, nullptr)->unlockWithCondition(condition); }

   private:
    ConditionLock* lock_;
  };

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool locked_ = false;
  int condition_;
};

}  // namespace lumisk
