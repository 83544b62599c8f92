#pragma once

#include <string>

namespace lumisk {

// Files below the home folder that other programs own: the property list shared with the file manager's plug-in, and
// the settings of the sibling product.
[[nodiscard]] std::string pluginListPath();
[[nodiscard]] std::string siblingDefaultsPath();

}  // namespace lumisk
