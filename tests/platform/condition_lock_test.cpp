#include "platform/condition_lock.h"

#include <thread>

namespace lumisk {
namespace {

TEST(ConditionLock, ThreadsPassingTheCondition_TakeTurns) {
  ConditionLock lock(0);
  std::vector<int> order;  // guarded by the lock
  constexpr int kRounds = 200;
  std::vector<std::thread> threads;
  for (int me = 0; me < 3; ++me) {
    threads.emplace_back([&, me] {
      for (int i = 0; i < kRounds; ++i) {
        ConditionLock::Guard guard(lock, me);
        order.push_back(me);
        guard.release((me + 1) % 3);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_EQ(order.size(), 3U * kRounds);
  for (std::size_t i = 0; i < order.size(); ++i) ASSERT_EQ(order[i], static_cast<int>(i % 3));
}

TEST(ConditionLockGuard, ReleasedEarly_UnlocksOnce) {
  ConditionLock lock(1);
  {
    ConditionLock::Guard guard(lock, 1);
    guard.release(2);
    const ConditionLock::Guard again(lock, 2);
  }
  const ConditionLock::Guard free(lock);
  EXPECT_EQ(lock.condition(), 2);
}

}  // namespace
}  // namespace lumisk
