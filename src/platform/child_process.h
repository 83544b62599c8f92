#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "platform/result.h"

namespace lumisk {

struct ChildRequest {
  std::vector<std::string> arguments;  // [0] is the program: a path, or a name looked up in PATH. No shell is involved.
  std::string input;                   // given on standard input, which is then closed
  std::vector<std::string> environment;                                // "NAME=value" entries added to ours
  std::chrono::milliseconds limit = std::chrono::milliseconds::max();  // then it is killed, with error ETIMEDOUT
  std::function<bool()> isGivenUp{};  // asked now and then; true: it is killed, with error ECANCELED. May be empty
  // Stays in our process group, so that it can ask at the terminal and a Ctrl-C reaches it. What it has started
  // outlives the limit then.
  bool sharesTerminal = false;
};

struct ChildResult {
  int status = 0;  // the exit status, or 128 + the signal that ended it
  std::string output;
  std::string errors;
};

// Runs a program to its end; one that may not be killed any more, because it has become another user's, is left to
// itself when it is given up or its time is up. The child gets no descriptor of ours but its three, and default
// signals.
Result<ChildResult> runChild(const ChildRequest& request);

}  // namespace lumisk
