#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace lumisk {

// The main thread's event loop, on GLib's default main context (a Qt event loop on the same machine runs that context,
// too). perform() and quit() may be called from any thread; the rest on the main thread.
class MainLoop {
 public:
  MainLoop();
  ~MainLoop();

  void run();  // until quit(); may be called again afterwards
  void quit();
  // Serves the loop, also from within its own work, until the condition holds, which is looked at after every event.
  void serveUntil(const std::function<bool()>& condition);
  void perform(std::function<void()> work);  // later, on the main thread, in order
  // perform() for threads that may outlive the loop: what they bring after its end is dropped.
  [[nodiscard]] std::function<void(std::function<void()>)> performer() const;

  // Ends with the handle.
  class [[nodiscard]] Source;
  using SourceHandle = std::shared_ptr<Source>;
  SourceHandle every(std::chrono::milliseconds interval, std::function<void()> work);
  // As long as it lasts, also when the other end has hung up.
  SourceHandle whenReadable(int descriptor, std::function<void()> work);
  SourceHandle whenWritable(int descriptor, std::function<void()> work);
  // SIGINT, SIGTERM, SIGHUP, SIGUSR1 or SIGUSR2 (signal(7)), handled on the main thread.
  SourceHandle onSignal(int signal, std::function<void()> work);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace lumisk
