#pragma once

#include <functional>
#include <memory>

#include "platform/main_loop.h"

namespace lumisk {

// Work that other threads leave for the main thread, done by its loop in order; or earlier, when the main thread must
// know all that has happened before it goes on. What has not been done when the queue goes is dropped.
class MainThreadQueue {
 public:
  // `around` is given all that is done in one go, to do it; empty: it is just done.
  using Around = std::function<void(const std::function<void()>& work)>;
  explicit MainThreadQueue(MainLoop& loop, Around around = {});
  ~MainThreadQueue();
  MainThreadQueue(const MainThreadQueue&) = delete;
  MainThreadQueue& operator=(const MainThreadQueue&) = delete;

  void post(std::function<void()> work);  // any thread
  void drain();                           // main thread: all that has been posted, also from within such work

 private:
  struct State;
  static void drain(State& state);

  MainLoop& loop_;
  std::shared_ptr<State> state_;  // shared with what the loop still has to do
};

}  // namespace lumisk
