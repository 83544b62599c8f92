#include "platform/main_loop.h"

#include <glib-unix.h>
#include <glib.h>

#include <deque>
#include <mutex>
#include <utility>

namespace lumisk {

// One GLib source on the default main context, removed with this object. The work is kept by the source itself, so that
// a handle may go while its work runs.
class MainLoop::Source {
 public:
  explicit Source(GSource* source) : source_(source) {}
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() {
    g_source_destroy(source_);
    g_source_unref(source_);
  }

 private:
  GSource* source_;
};

// The queue of perform() has one source for all its life, made on the main thread: other threads only make it ready, so
// that nothing passes between threads but through the queue's own lock.
struct MainLoop::State {
  std::mutex mutex;
  std::deque<std::function<void()>> queue;
  GSource* source = nullptr;  // null: the loop has gone
  bool isQuitting = false;    // of the main thread

  // The next piece of work; the source sleeps when there is none.
  std::function<void()> take() {
    const std::lock_guard guard(mutex);
    std::function<void()> next;
    if (!queue.empty()) {
      next = std::move(queue.front());
      queue.pop_front();
    }
    if (queue.empty()) g_source_set_ready_time(source, kAsleep);
    return next;
  }

  void put(std::function<void()> work) {
    const std::lock_guard guard(mutex);
    if (!source) return;
    queue.push_back(std::move(work));
    g_source_set_ready_time(source, kAtOnce);
  }

  static constexpr gint64 kAsleep = -1;
  static constexpr gint64 kAtOnce = 0;
};

namespace {

using Work = std::function<void()>;

void forgetWork(gpointer work) {
  delete static_cast<Work*>(work);
}

gboolean runWork(gpointer work) {
  (*static_cast<Work*>(work))();
  return G_SOURCE_CONTINUE;
}

gboolean runReady(gint, GIOCondition, gpointer work) {
  return runWork(work);
}

GSource* readySource(int descriptor, GIOCondition condition) {
  return g_unix_fd_source_new(descriptor, static_cast<GIOCondition>(condition | G_IO_HUP | G_IO_ERR));
}

GSource* attach(GSource* source, GSourceFunc function, Work work) {
  g_source_set_callback(source, function, new Work(std::move(work)), forgetWork);
  g_source_attach(source, nullptr);
  return source;
}

}  // namespace

MainLoop::MainLoop() : state_(std::make_shared<State>()) {
  struct QueueSource {
    GSource base;
    State* state;
  };
  // One piece at a time, so that timers and descriptors have their turn.
  static GSourceFuncs functions{nullptr,
                                nullptr,
                                [](GSource* source, GSourceFunc, gpointer) -> gboolean {
                                  if (const auto work = reinterpret_cast<QueueSource*>(source)->state->take()) work();
                                  return G_SOURCE_CONTINUE;
                                },
                                nullptr,
                                nullptr,
                                nullptr};
  state_->source = g_source_new(&functions, sizeof(QueueSource));
  reinterpret_cast<QueueSource*>(state_->source)->state = state_.get();
  // What is performed may open a dialog, which waits in a loop of its own: the rest goes on in there.
  g_source_set_can_recurse(state_->source, TRUE);
  g_source_attach(state_->source, nullptr);
}

// What was given to perform() and has not been run is dropped.
MainLoop::~MainLoop() {
  std::deque<std::function<void()>> dropped;
  const std::lock_guard guard(state_->mutex);
  g_source_destroy(state_->source);
  g_source_unref(state_->source);
  state_->source = nullptr;
  dropped.swap(state_->queue);
}

void MainLoop::run() {
  state_->isQuitting = false;
  while (!state_->isQuitting) g_main_context_iteration(nullptr, TRUE);
}

// In the queue like everything else: a request that comes before run() is not lost.
void MainLoop::quit() {
  perform([state = state_.get()] { state->isQuitting = true; });
}

void MainLoop::serveUntil(const std::function<bool()>& condition) {
  while (!condition()) g_main_context_iteration(nullptr, TRUE);
}

void MainLoop::perform(std::function<void()> work) {
  state_->put(std::move(work));
}

std::function<void(std::function<void()>)> MainLoop::performer() const {
  return [state = state_](std::function<void()> work) { state->put(std::move(work)); };
}

MainLoop::SourceHandle MainLoop::every(std::chrono::milliseconds interval, std::function<void()> work) {
  GSource* const source = g_timeout_source_new(static_cast<guint>(interval.count()));
  return std::make_shared<Source>(attach(source, runWork, std::move(work)));
}

MainLoop::SourceHandle MainLoop::whenReadable(int descriptor, std::function<void()> work) {
  return std::make_shared<Source>(attach(readySource(descriptor, G_IO_IN), G_SOURCE_FUNC(runReady), std::move(work)));
}

MainLoop::SourceHandle MainLoop::whenWritable(int descriptor, std::function<void()> work) {
  return std::make_shared<Source>(attach(readySource(descriptor, G_IO_OUT), G_SOURCE_FUNC(runReady), std::move(work)));
}

MainLoop::SourceHandle MainLoop::onSignal(int signal, std::function<void()> work) {
  return std::make_shared<Source>(attach(g_unix_signal_source_new(signal), runWork, std::move(work)));
}

}  // namespace lumisk
