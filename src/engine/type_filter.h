#pragma once

#include <string>
#include <vector>

namespace lumisk {

// Whether a file is to be copied, by its extension in lower case; "." stands for none (also for one that begins with
// "0"). An exclusion list, where there is one, decides alone; else an inclusion list; without both everything passes.
[[nodiscard]] bool fileTypeFilter(const std::string& path, const std::vector<std::string>& inclusion,
                                  const std::vector<std::string>& exclusion);

}  // namespace lumisk
