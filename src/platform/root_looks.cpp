#include "platform/root_looks.h"

#include <sys/stat.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

namespace lumisk {
namespace {

constexpr int kMostThreads = 32;

std::optional<FileIdentity> lookAt(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace

struct RootLooks::State {
  Look look;
  Answered answered;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::string> asked;
  std::set<std::string> underWay;  // asked and not answered
  int threads = 0;
  int looking = 0;
  bool isEnding = false;
};

RootLooks::RootLooks(Look look, Answered answered) : state_(std::make_shared<State>()) {
  state_->look = look ? std::move(look) : Look(lookAt);
  state_->answered = std::move(answered);
}

// Threads that look are left to themselves: each ends when its look has come back.
RootLooks::~RootLooks() {
  std::unique_lock lock(state_->mutex);
  state_->isEnding = true;
  state_->changed.notify_all();
  state_->changed.wait(lock, [this] { return state_->threads == state_->looking; });
}

void RootLooks::beginRound() {
  const std::lock_guard lock(state_->mutex);
  const bool isStuck = !state_->asked.empty() && state_->looking == state_->threads;
  if (state_->threads > 0 && (!isStuck || state_->threads == kMostThreads)) return;
  try {
    std::thread([state = state_] { work(state); }).detach();
    ++state_->threads;
  } catch (const std::system_error&) {
    // The system has none to give at the moment: the next round asks again.
  }
}

void RootLooks::ask(const std::string& path) {
  const std::lock_guard lock(state_->mutex);
  if (!state_->underWay.insert(path).second) return;
  state_->asked.push_back(path);
  state_->changed.notify_all();
}

void RootLooks::work(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  while (true) {
    state->changed.wait(lock, [&] { return state->isEnding || !state->asked.empty(); });
    if (state->isEnding) break;
    const std::string path = std::move(state->asked.front());
    state->asked.pop_front();
    ++state->looking;
    lock.unlock();
    const auto folder = state->look(path);
    lock.lock();
    --state->looking;
    state->underWay.erase(path);
    if (!state->isEnding) state->answered(path, folder);
  }
  --state->threads;
  state->changed.notify_all();
}

}  // namespace lumisk
