#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumisk {

[[nodiscard]] std::string base64(std::string_view bytes);
// White space is skipped; anything else that base64() would not have written is nothing.
[[nodiscard]] std::optional<std::string> fromBase64(std::string_view text);

}  // namespace lumisk
