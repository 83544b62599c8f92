#pragma once

#include <string>

namespace lumisk {

// A new name for a temporary sibling: ".lumisk-" and 12 random hexadecimal digits, known again by isTemporaryName().
[[nodiscard]] std::string makeTemporaryName();
[[nodiscard]] bool isTemporaryName(const std::string& name);

}  // namespace lumisk
