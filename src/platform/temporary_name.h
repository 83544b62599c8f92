#pragma once

#include <string>

namespace lumisk {

// A new name for a temporary sibling: ".lumisk-" and 12 random hexadecimal digits, known again by isTemporaryName().
[[nodiscard]] std::string makeTemporaryName();
[[nodiscard]] bool isTemporaryName(const std::string& name);

// What a temporary sibling is called from when it holds the only copy of an earlier version: "earlier-version" and its
// temporary name. Walks take it for a file like others.
[[nodiscard]] std::string lastingName(const std::string& temporary);
[[nodiscard]] bool isLastingName(const std::string& name);

}  // namespace lumisk
