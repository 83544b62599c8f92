#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lumisk {

// Numbers for people, the same in every locale where nothing else is given.
[[nodiscard]] std::string countText(std::uint64_t count, std::string_view separator = ",");  // "30,412"
// "512 B", "45.2 MB" (of 1,000,000)
[[nodiscard]] std::string bytesText(std::uint64_t bytes, std::string_view decimalPoint = ".");
[[nodiscard]] std::string durationText(double seconds);  // "3.4 s", "2 min 5 s", "3 h 12 min"

}  // namespace lumisk
