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

struct MainLoop::State {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  std::mutex mutex;
  std::deque<std::function<void()>> queue;
  bool isScheduled = false;
  ~State() { g_main_loop_unref(loop); }
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

gboolean runReadable(gint, GIOCondition, gpointer work) {
  return runWork(work);
}

GSource* attach(GSource* source, GSourceFunc function, Work work) {
  g_source_set_callback(source, function, new Work(std::move(work)), forgetWork);
  g_source_attach(source, nullptr);
  return source;
}

}  // namespace

MainLoop::MainLoop() : state_(std::make_shared<State>()) {}

// What was given to perform() and has not been run is dropped.
MainLoop::~MainLoop() {
  const std::lock_guard guard(state_->mutex);
  state_->queue.clear();
}

void MainLoop::run() {
  g_main_loop_run(state_->loop);
}

void MainLoop::quit() {
  // From another thread, or before run(), the loop may not be running yet: the request must not be lost.
  perform([loop = state_->loop] { g_main_loop_quit(loop); });
}

void MainLoop::perform(std::function<void()> work) {
  const std::lock_guard guard(state_->mutex);
  state_->queue.push_back(std::move(work));
  if (std::exchange(state_->isScheduled, true)) return;
  auto* const kept = new std::weak_ptr<State>(state_);
  const auto drain = [](gpointer data) -> gboolean {
    const auto state = static_cast<std::weak_ptr<State>*>(data)->lock();
    if (!state) return G_SOURCE_REMOVE;
    std::deque<std::function<void()>> due;
    {
      const std::lock_guard drained(state->mutex);
      due.swap(state->queue);
      state->isScheduled = false;
    }
    for (const auto& one : due) one();
    return G_SOURCE_REMOVE;
  };
  const auto forget = [](gpointer data) { delete static_cast<std::weak_ptr<State>*>(data); };
  GSource* const source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, drain, kept, forget);
  g_source_attach(source, nullptr);
  g_source_unref(source);
}

MainLoop::SourceHandle MainLoop::every(std::chrono::milliseconds interval, std::function<void()> work) {
  GSource* const source = g_timeout_source_new(static_cast<guint>(interval.count()));
  return std::make_shared<Source>(attach(source, runWork, std::move(work)));
}

MainLoop::SourceHandle MainLoop::whenReadable(int descriptor, std::function<void()> work) {
  constexpr auto kConditions = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR);
  GSource* const source = g_unix_fd_source_new(descriptor, kConditions);
  return std::make_shared<Source>(attach(source, G_SOURCE_FUNC(runReadable), std::move(work)));
}

MainLoop::SourceHandle MainLoop::onSignal(int signal, std::function<void()> work) {
  return std::make_shared<Source>(attach(g_unix_signal_source_new(signal), runWork, std::move(work)));
}

}  // namespace lumisk
