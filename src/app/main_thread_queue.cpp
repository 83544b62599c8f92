#include "app/main_thread_queue.h"

#include <deque>
#include <mutex>

namespace lumisk {

struct MainThreadQueue::State {
  std::mutex mutex;
  std::deque<std::function<void()>> queue;
  bool loopIsAsked = false;
  Around around;  // main thread

  std::function<void()> take() {
    const std::lock_guard guard(mutex);
    std::function<void()> next;
    if (queue.empty()) return next;
    next = std::move(queue.front());
    queue.pop_front();
    return next;
  }
};

MainThreadQueue::MainThreadQueue(MainLoop& loop, Around around) : loop_(loop), state_(std::make_shared<State>()) {
  state_->around = std::move(around);
}

MainThreadQueue::~MainThreadQueue() {
  const std::lock_guard guard(state_->mutex);
  state_->queue.clear();
}

void MainThreadQueue::post(std::function<void()> work) {
  {
    const std::lock_guard guard(state_->mutex);
    state_->queue.push_back(std::move(work));
    if (state_->loopIsAsked) return;
    state_->loopIsAsked = true;
  }
  loop_.perform([state = state_] {
    {
      const std::lock_guard guard(state->mutex);
      state->loopIsAsked = false;
    }
    drain(*state);
  });
}

void MainThreadQueue::drain() {
  drain(*state_);
}

void MainThreadQueue::drain(State& state) {
  const auto first = state.take();
  if (!first) return;
  const auto all = [&] {
    first();
    while (const auto work = state.take()) work();
  };
  state.around ? state.around(all) : all();
}

}  // namespace lumisk
