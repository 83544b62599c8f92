#pragma once

#include <string>

namespace lumisk {

// Same path, or with subDirectory also inside or around it, by whole components. Pure; links are not looked at.
[[nodiscard]] bool compareStringPath(const std::string& path1, const std::string& path2, bool subDirectory);
// The same for sources, by the same rule.
[[nodiscard]] bool compareStringPathExt(const std::string& path1, const std::string& path2, bool subDirectory);

}  // namespace lumisk
