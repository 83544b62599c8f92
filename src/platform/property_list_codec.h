#pragma once

#include <string_view>

#include "platform/property_list.h"

namespace lumisk {

// How deep arrays and dictionaries may lie in each other, in what is read and in what is written: every reader is
// recursive, ours and other programs'.
inline constexpr int kDeepestPropertyList = 200;

// Whether XML carries this text so that it comes back the same: valid UTF-8, no control characters but tab and line
// feed, not the two non-characters that XML excludes.
[[nodiscard]] bool isStorableText(std::string_view text);

Result<PropertyList> parseXmlPropertyList(std::string_view bytes);
Result<PropertyList> parseBinaryPropertyList(std::string_view bytes);

}  // namespace lumisk
