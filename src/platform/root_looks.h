#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// Looks at folders, by their paths, on threads of its own: a server that does not answer keeps such a thread for as
// long as it likes, and nobody else. A look that has not come back is not begun again. While all threads are kept, each
// round of questions adds one, up to a limit.
class RootLooks {
 public:
  // The folder there, links followed; nothing when there is none.
  using Look = std::function<std::optional<FileIdentity>(const std::string& path)>;
  // Told on one of the threads; must be quick. Never after this object has gone.
  using Answered = std::function<void(const std::string& path, std::optional<FileIdentity> folder)>;

  RootLooks(Look look, Answered answered);  // an empty `look` asks the system
  ~RootLooks();                             // waits for no look
  RootLooks(const RootLooks&) = delete;
  RootLooks& operator=(const RootLooks&) = delete;

  void beginRound();  // one thread: this and ask()
  void ask(const std::string& path);

 private:
  struct State;
  static void work(const std::shared_ptr<State>& state);

  std::shared_ptr<State> state_;  // shared with threads that hang
};

}  // namespace lumisk
