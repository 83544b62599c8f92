#include "platform/notification_center.h"

#include <atomic>
#include <latch>
#include <optional>
#include <thread>

namespace lumisk {
namespace {

using ::testing::ElementsAre;

TEST(NotificationCenter, Posting_CallsObserversOfTheNameInOrder) {
  NotificationCenter center;
  std::vector<std::string> calls;
  const auto record = [&calls](const char* who) {
    return [&calls, who](const Notification& n) {
      calls.push_back(who + std::to_string(std::any_cast<std::int32_t>(n.object)) + n.userInfo.at("k").text());
    };
  };
  const auto a = center.observe("x", record("a"));
  const auto other = center.observe("y", record("other"));
  auto b = center.observe("x", record("b"));
  const auto c = center.observe("x", record("c"));
  center.post({"x", std::int32_t{1}, {{"k", "v"}}});
  b = {};
  center.post({"x", std::int32_t{2}, {{"k", "w"}}});
  EXPECT_THAT(calls, ElementsAre("a1v", "b1v", "c1v", "a2w", "c2w"));
}

TEST(NotificationCenter, ObserverThatPostsObservesAndUnregisters_IsServed) {
  NotificationCenter center;
  std::vector<int> calls;
  std::optional<NotificationCenter::Observation> second, later;
  auto self = std::make_shared<std::optional<NotificationCenter::Observation>>();
  *self = center.observe("x", [&](const Notification&) {
    calls.push_back(1);
    second.reset();
    later = center.observe("x", [&](const Notification&) { calls.push_back(3); });
    self->reset();  // itself
    center.post({"x", {}, {}});
  });
  second = center.observe("x", [&](const Notification&) { calls.push_back(2); });
  center.post({"x", {}, {}});
  EXPECT_THAT(calls, ElementsAre(1, 3));
}

TEST(NotificationCenter, ObservationThatGoes_LetsGoOfWhatItsObserverHolds) {
  NotificationCenter center;
  auto held = std::make_shared<int>(1);
  auto observation = center.observe("x", [held](const Notification&) {});
  std::optional<NotificationCenter::Observation> own;
  own = center.observe("x", [held, &own](const Notification&) { own.reset(); });
  center.post({"x", {}, {}});
  EXPECT_EQ(held.use_count(), 2);
  observation = {};
  EXPECT_EQ(held.use_count(), 1);
}

TEST(NotificationCenter, ObservationThatOutlivesTheCenter_IsHarmless) {
  auto center = std::make_unique<NotificationCenter>();
  const auto observation = center->observe("x", [](const Notification&) {});
  center.reset();
}

TEST(NotificationCenter, ObservationThatGoesDuringACallElsewhere_WaitsForItsEnd) {
  NotificationCenter center;
  std::latch inside(1);
  std::atomic<bool> mayLeave = false, left = false;
  std::optional observation = center.observe("x", [&](const Notification&) {
    inside.count_down();
    while (!mayLeave) std::this_thread::yield();
    left = true;
  });
  std::thread poster([&] { center.post({"x", {}, {}}); });
  inside.wait();
  std::thread releaser([&] { mayLeave = true; });
  observation.reset();
  EXPECT_TRUE(left);
  poster.join();
  releaser.join();
}

// What an observer reads is plain memory that is overwritten once its observation has gone.
TEST(NotificationCenter, ManyThreadsPostingObservingAndEnding_NeverCallWhatHasGone) {
  NotificationCenter center;
  std::atomic<bool> stop = false, wrong = false;
  std::vector<std::thread> posters;
  for (int i = 0; i < 2; ++i) {
    posters.emplace_back([&] {
      while (!stop) center.post({"x", {}, {}});
    });
  }
  std::vector<std::thread> observers;
  for (int i = 0; i < 2; ++i) {
    observers.emplace_back([&] {
      for (int round = 0; round < 300; ++round) {
        int alive = 1;
        {
          const auto observation = center.observe("x", [&](const Notification&) {
            if (alive != 1) wrong = true;
          });
        }
        alive = 0;
      }
    });
  }
  for (auto& thread : observers) thread.join();
  stop = true;
  for (auto& thread : posters) thread.join();
  EXPECT_FALSE(wrong);
}

}  // namespace
}  // namespace lumisk
