#pragma once

#include <string>
#include <string_view>

namespace lumisk {

[[nodiscard]] bool isValidUtf8(std::string_view bytes);
void appendUtf8(std::string& text, char32_t character);  // of a character that Unicode has
// For showing a path on one line: control characters and bytes that are not UTF-8 become "\xNN". Never for opening.
[[nodiscard]] std::string displayText(std::string_view bytes);
// Whether the text holds the part somewhere; no text holds an empty part.
[[nodiscard]] bool isStringIncluded(std::string_view text, std::string_view part);
// A key under which names that a folding file system may take for the same one are equal: case folded, NFC. A hint for
// warnings only; file systems differ.
[[nodiscard]] std::string foldedName(std::string_view name);

}  // namespace lumisk
