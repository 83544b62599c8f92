#pragma once

#include <algorithm>
#include <chrono>

namespace lumisk {

// A sleep lasts some 30 microseconds longer than asked for, until the thread runs again. The next ones are shorter by
// that, so that many short pauses last as long as they are meant to; at most one whole pause is owed.
struct Overslept {
  std::chrono::nanoseconds owed{0};

  // What to ask the system for in place of `duration`.
  [[nodiscard]] std::chrono::nanoseconds instead(std::chrono::nanoseconds duration) const {
    return std::max(std::chrono::nanoseconds(0), duration - owed);
  }
  // How long it lasted then.
  void paused(std::chrono::nanoseconds duration, std::chrono::nanoseconds lasted) {
    owed = std::min(owed + lasted - duration, duration);
  }
};

}  // namespace lumisk
