#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumisk {

// "a,b" gives two texts; empty ones and blanks around them are dropped.
[[nodiscard]] std::vector<std::string> splitAtCommas(std::string_view text);
[[nodiscard]] std::string joinedTexts(const std::vector<std::string>& texts, std::string_view between);
[[nodiscard]] std::string loweredAscii(std::string_view text);  // other letters stay

}  // namespace lumisk
