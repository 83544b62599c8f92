#pragma once

#include <cstdint>
#include <string>

namespace lumisk {

// Numbers for people. The same in every locale.
[[nodiscard]] std::string countText(std::uint64_t count);  // "30,412"
[[nodiscard]] std::string bytesText(std::uint64_t bytes);  // "512 B", "45.2 MB" (of 1,000,000)
[[nodiscard]] std::string durationText(double seconds);    // "3.4 s", "2 min 5 s", "3 h 12 min"

}  // namespace lumisk
