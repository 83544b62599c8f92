#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace lumisk {

// Work that may take long or wait for a disk that does not answer, kept away from the main thread. Both functions may
// be replaced by tests, which then decide when and where work is done.
struct Background {
  using Work = std::function<void()>;
  std::function<void(Work)> start;         // does it on a thread of its own
  std::function<void(Work)> onMainThread;  // later, in order
};

// On detached threads: one that waits for a dead server must not keep a window, or the program, from closing.
[[nodiscard]] Background backgroundThreads(std::function<void(Background::Work)> onMainThread);

// The one task of a presenter: a new one takes the place of the last, whose result is then dropped. Main thread only.
class BackgroundTask {
 public:
  explicit BackgroundTask(Background background) : background_(std::move(background)) {}
  ~BackgroundTask() { cancel(); }
  BackgroundTask(const BackgroundTask&) = delete;
  BackgroundTask& operator=(const BackgroundTask&) = delete;

  // Whether the task is still wanted, and the way back; may be used from the task's thread.
  class Context {
   public:
    [[nodiscard]] bool isCancelled() const { return state_.expired(); }
    // On the main thread, unless the task has been cancelled by then.
    void tell(std::function<void()> report) const {
      onMainThread_([state = state_, report = std::move(report)] {
        if (!state.expired()) report();
      });
    }

   private:
    friend class BackgroundTask;
    std::weak_ptr<void> state_;
    std::function<void(Background::Work)> onMainThread_;
  };

  void start(std::function<void(const Context&)> work) {
    state_ = std::make_shared<int>();
    Context context;
    context.state_ = state_;
    context.onMainThread_ = background_.onMainThread;
    background_.start([context = std::move(context), work = std::move(work)] { work(context); });
  }
  void cancel() { state_.reset(); }

 private:
  Background background_;
  std::shared_ptr<void> state_;
};

}  // namespace lumisk
