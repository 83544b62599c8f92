#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace lumisk {

// Has a run, with all its threads, stand still where it looks: before an entry, a chunk of data, or the deletions of a
// folder; never between a proof and what rests on it. Any thread may call.
class PauseSwitch {
 public:
  void set();
  // The run goes on. Whoever stops a run calls this after its flag says so.
  void clear();
  [[nodiscard]] bool isSet() const { return isSet_.load(std::memory_order_acquire); }
  // Returns when it is not set, or `mustStop`, which must not block, says that the run is to end. Costs one load where
  // it is not set. True when it was.
  bool wait(const std::function<bool()>& mustStop);
  [[nodiscard]] int waiting();  // how many threads stand still

 private:
  std::atomic<bool> isSet_{false};  // changed under the lock
  std::mutex mutex_;
  int waiting_ = 0;  // guarded by it
  std::condition_variable changed_;
};

}  // namespace lumisk
