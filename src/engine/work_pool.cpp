#include "engine/work_pool.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace lumisk {

std::size_t WorkPool::usualThreads() {
  // More than these wait for each other in the file system.
  constexpr std::size_t kMost = 4;
  constexpr std::size_t kMostAsked = 8;
  if (const char* const asked = std::getenv("LUMISK_THREADS"))
    return std::min<std::size_t>(std::strtoul(asked, nullptr, 10), kMostAsked);
  return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMost);
}

WorkPool::WorkPool(std::size_t threads) {
  threads_.reserve(threads);
  try {
    while (threads_.size() < threads) threads_.emplace_back([this] { work(); });
  } catch (const std::system_error&) {
    // The system has no more of them to give. Fewer do as well, and none does.
  }
}

WorkPool::~WorkPool() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  waiting_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void WorkPool::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    waiting_.wait(lock, [this] { return ends_ || !tasks_.empty(); });
    if (ends_) return;
    runNext(lock);
  }
}

// Whoever added a task keeps it until it is done, and may take it apart from then on.
bool WorkPool::runNext(std::unique_lock<std::mutex>& lock) {
  if (tasks_.empty()) return false;
  Task& task = *tasks_.front();
  tasks_.pop_front();
  runUnlocked(task, lock);
  return true;
}

void WorkPool::runUnlocked(Task& task, std::unique_lock<std::mutex>& lock) {
  task.state_ = Task::State::kRunning;
  lock.unlock();
  try {
    task.run();
  } catch (...) {
    task.thrown_ = std::current_exception();
  }
  lock.lock();
  task.state_ = Task::State::kDone;
  if (awaited_ == &task) done_.notify_one();
}

// What is done must not stay in the row: it may hold descriptors, and threads that get no processor take nothing off
// it.
bool WorkPool::takeOut(const Task& task) {
  if (task.state_ != Task::State::kWaiting) return false;
  std::erase_if(tasks_, [&](const auto& each) { return each.get() == &task; });
  return true;
}

void WorkPool::add(std::shared_ptr<Task> task, Size size) {
  if (threads_.empty()) return;  // finish() does it
  constexpr std::size_t kWorthWakingTogether = 4;
  bool wakes = false;
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    wakes = size == Size::kWorthWaking || tasks_.size() >= kWorthWakingTogether;
  }
  if (wakes) waiting_.notify_one();
}

void WorkPool::finish(Task& task) {
  std::unique_lock lock(mutex_);
  if (takeOut(task)) runUnlocked(task, lock);
  // Rather than wait for a thread that is at it, the run's own does what comes next.
  while (task.state_ != Task::State::kDone)
    if (!runNext(lock)) await(task, lock);
  if (task.thrown_) std::rethrow_exception(task.thrown_);
}

void WorkPool::drop(Task& task) {
  std::unique_lock lock(mutex_);
  if (takeOut(task)) task.state_ = Task::State::kDone;
  await(task, lock);
}

void WorkPool::await(const Task& task, std::unique_lock<std::mutex>& lock) {
  awaited_ = &task;
  done_.wait(lock, [&] { return task.state_ == Task::State::kDone; });
  awaited_ = nullptr;
}

bool WorkPool::isDone(const Task& task) {
  const std::lock_guard lock(mutex_);
  return task.state_ == Task::State::kDone;
}

}  // namespace lumisk
