#pragma once

#include <string>

namespace lumisk {

// Below this folder lies everything that the application keeps: $LUMISK_HOME, else $HOME, else the account's folder.
// Without a trailing "/". Read afresh at every call.
[[nodiscard]] std::string homeFolder();

// The login name of the user ("anna"); the user id in decimal when the account has no name.
[[nodiscard]] std::string userName();

// A new random identifier, "3F2504E0-4F89-41D3-9A0C-0305E82C3301" (RFC 4122, version 4, capitals).
[[nodiscard]] std::string generateUUID();

}  // namespace lumisk
