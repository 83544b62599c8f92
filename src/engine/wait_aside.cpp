#include "engine/wait_aside.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

namespace lumisk {
namespace {

constexpr auto kBetweenLooks = std::chrono::milliseconds(50);

struct Outcome {
  std::function<Result<void>()> work;
  std::mutex mutex;
  std::condition_variable arrived;
  std::optional<Result<void>> result;
};

}  // namespace

Result<void> waitAside(std::function<Result<void>()> work, const std::function<bool()>& mustStop) {
  const auto outcome = std::make_shared<Outcome>();
  outcome->work = std::move(work);
  try {
    std::thread([outcome] {
      auto result = outcome->work();
      outcome->work = nullptr;  // what it holds goes before anybody hears of it
      const std::lock_guard guard(outcome->mutex);
      outcome->result = std::move(result);
      outcome->arrived.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return outcome->work();  // no thread to be had
  }
  std::unique_lock lock(outcome->mutex);
  while (!outcome->arrived.wait_for(lock, kBetweenLooks, [&] { return outcome->result.has_value(); }))
    if (mustStop()) return fail("wait for the disk", {}, ECANCELED);
  return *outcome->result;
}

}  // namespace lumisk
