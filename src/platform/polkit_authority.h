#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "platform/result.h"

namespace lumisk::polkit {

// Who wants something, as the kernel knows it (SO_PEERCRED, unix(7)).
struct Subject {
  std::int32_t process = 0;
  std::uint32_t user = 0;
};

enum class Answer {
  kGranted,
  kDenied,
  kDismissed,    // somebody was asked and closed the dialog
  kNobodyToAsk,  // an administrator would have to say yes, and no agent shows dialogs for this process
};

// Asks polkit(8) on the system bus, which may ask a person: waits for that, at most `limit` (ETIMEDOUT; the dialog goes
// away then). A process number that has passed to another user meanwhile is refused. Root is granted everything
// without a question. Any thread.
Result<Answer> check(const Subject& subject, const std::string& action, std::chrono::milliseconds limit);

}  // namespace lumisk::polkit
