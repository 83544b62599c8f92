#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace lumisk {

// A few threads that do parts of a run for the thread that runs it. They decide nothing: what a part gives is taken, in
// the run's own order, by finish(), and a part that no thread has begun by then is done by the run's thread itself, so
// that with no threads at all everything happens where finish() stands.
//
// All methods are for the run's thread.
class WorkPool {
 public:
  class Task {
   public:
    Task() = default;
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    virtual ~Task() = default;
    // On any one thread. What it leaves in the object is for finish()'s caller.
    virtual void run() = 0;

   private:
    friend class WorkPool;
    enum class State : std::uint8_t { kWaiting, kRunning, kDone };
    State state_ = State::kWaiting;  // guarded by the pool's lock
    std::exception_ptr thrown_;
  };

  explicit WorkPool(std::size_t threads);  // at most so many
  WorkPool(const WorkPool&) = delete;
  WorkPool& operator=(const WorkPool&) = delete;
  ~WorkPool();  // what no thread has begun is never done

  // Beside the run's own: one for each core, up to four, or as many as the environment variable LUMISK_THREADS says.
  [[nodiscard]] static std::size_t usualThreads();

  // A task that takes a thread less time than being woken for it is worth no waking: a few of those together are.
  enum class Size : std::uint8_t { kWorthWaking, kTiny };
  // Begun in the order of adding. Kept by the caller, too, until finish() or drop() has returned.
  void add(std::shared_ptr<Task> task, Size size = Size::kWorthWaking);
  // Returns when it has run; what it threw is thrown here.
  void finish(Task& task);
  // Returns when it will not run any more, or has run. For what a task uses must outlive it.
  void drop(Task& task);
  [[nodiscard]] bool isDone(const Task& task);

 private:
  void work();
  bool takeOut(const Task& task);
  bool runNext(std::unique_lock<std::mutex>& lock);
  void runUnlocked(Task& task, std::unique_lock<std::mutex>& lock);
  void await(const Task& task, std::unique_lock<std::mutex>& lock);

  std::mutex mutex_;
  std::condition_variable waiting_;  // a task was added, or the end has come
  std::condition_variable done_;     // the task that the run's thread awaits
  const Task* awaited_ = nullptr;
  std::deque<std::shared_ptr<Task>> tasks_;  // that nobody has begun
  bool ends_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace lumisk
