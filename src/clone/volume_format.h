#pragma once

#include <string>

#include "clone/clone_refusal.h"
#include "clone/clone_state.h"

namespace lumisk {

// How erasing the target went.
struct FormatResult {
  enum class State : std::uint8_t {
    kReady,      // empty, mounted where it was, and open in the CloneState
    kUntouched,  // could not be unmounted
    kBroken,     // something went wrong later
  };
  State state = State::kBroken;
  std::string reason;  // one line: what failed, and how the volume was left
};

// Unmounts the target, makes a file system like the source's with a new identifier and the source's label on its
// device, and mounts it again in the same place.
[[nodiscard]] FormatResult formatTarget(CloneState& state, const CloneFacts& facts, const std::string& label);

}  // namespace lumisk
