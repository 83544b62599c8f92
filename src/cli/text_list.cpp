#include "cli/text_list.h"

namespace lumisk {
namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

std::vector<std::string> splitAtCommas(std::string_view text) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    const auto comma = std::min(text.find(','), text.size());
    if (const auto part = trimmed(text.substr(0, comma)); !part.empty()) parts.emplace_back(part);
    text.remove_prefix(std::min(comma + 1, text.size()));
  }
  return parts;
}

std::string joinedTexts(const std::vector<std::string>& texts, std::string_view between) {
  std::string joined;
  for (const std::string& text : texts) {
    if (&text != &texts.front()) joined += between;
    joined += text;
  }
  return joined;
}

std::string loweredAscii(std::string_view text) {
  std::string lowered(text);
  for (char& letter : lowered) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lowered;
}

}  // namespace lumisk
