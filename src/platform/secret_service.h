#pragma once

#include <optional>
#include <string>

#include "platform/result.h"

namespace lumisk {

// Passwords in the desktop's keeper of secrets (the freedesktop.org Secret Service, through libsecret). Items are found
// by their attributes; one that is empty here stands for every value.
//
// Any thread may call; a call may block for as long as the service takes, and longer when it asks the user to unlock a
// collection. Without a session bus or a service every call fails (the Error's detail says why). A secret in a locked
// collection that the user does not unlock reads as none.
namespace secret_service {

struct Attributes {
  std::string acct, desc, labl, svce;
};

// The secret of the first item that has them; nothing when there is none.
[[nodiscard]] Result<std::optional<std::string>> find(const Attributes& attributes);
// Whether there is one, without unlocking anything.
[[nodiscard]] Result<bool> has(const Attributes& attributes);
// Adds an item, or gives the one with exactly these attributes another secret.
[[nodiscard]] Result<void> store(const Attributes& attributes, const std::string& title, const std::string& secret);
// Gives the first item that has them another secret, or removes it; ENOENT when there is none.
[[nodiscard]] Result<void> change(const Attributes& attributes, const std::string& secret);
[[nodiscard]] Result<void> remove(const Attributes& attributes);

}  // namespace secret_service

}  // namespace lumisk
