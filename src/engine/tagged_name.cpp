#include "engine/tagged_name.h"

#include <fmt/format.h>

#include <cstdint>

#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kMarkLength = 9;  // "~" and 8 digits

bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The longest beginning that cuts no character; bytes that are no UTF-8 are cut anywhere.
std::string_view cutBetweenCharacters(std::string_view text, std::size_t size) {
  constexpr std::size_t kLongestCharacter = 4;
  for (std::size_t end = size; end > 0 && end + kLongestCharacter > size; --end)
    if (!continuesCharacter(text[end])) return text.substr(0, end);
  return text.substr(0, size);
}

// FNV-1a: the same for the same name, always and everywhere, since the names stay on disks.
std::uint32_t digestOf(std::string_view name) {
  std::uint32_t digest = 2166136261U;
  for (const char byte : name) digest = (digest ^ static_cast<unsigned char>(byte)) * 16777619U;
  return digest;
}

// The extension with its ".", or nothing.
std::string_view suffixOf(std::string_view name) {
  const std::size_t length = paths::extension(name).size();
  return length == 0 ? std::string_view{} : name.substr(name.size() - length - 1);
}

std::string shortenedTaggedName(std::string_view name, std::string_view tag) {
  std::string_view suffix = suffixOf(name);
  if (suffix.size() + tag.size() + kMarkLength >= kLongestName) suffix = {};  // it alone would take all the room
  const std::size_t room = kLongestName - tag.size() - suffix.size() - kMarkLength;
  return fmt::format("{}~{:08x}{}{}", cutBetweenCharacters(name, room), digestOf(name), tag, suffix);
}

}  // namespace

std::string taggedName(std::string_view name, std::string_view tag) {
  if (name.size() + tag.size() > kLongestName) return shortenedTaggedName(name, tag);
  const std::string_view suffix = suffixOf(name);
  return fmt::format("{}{}{}", name.substr(0, name.size() - suffix.size()), tag, suffix);
}

std::string revisionName(std::string_view name, int number) {
  return taggedName(name, fmt::format("(Qel Lumisk {})", number));
}

}  // namespace lumisk
