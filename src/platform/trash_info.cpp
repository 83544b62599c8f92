#include "platform/trash_info.h"

#include <algorithm>
#include <string_view>

#include "platform/calendar_date.h"
#include "platform/paths.h"

namespace lumisk::trash_info {
namespace {

bool staysAsItIs(char byte) {
  constexpr std::string_view kPunctuation = "-_.~/";
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
         kPunctuation.find(byte) != std::string_view::npos;
}

std::string percentEncoded(const std::string& bytes) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (staysAsItIs(byte))
      encoded += byte;
    else
      encoded += {'%', kDigits[value >> 4], kDigits[value & 15]};
  }
  return encoded;
}

// At most `size` bytes; not the first half of a UTF-8 character, which some file systems refuse.
std::string cut(const std::string& text, std::size_t size) {
  if (text.size() <= size) return text;
  const auto isContinuation = [&](std::size_t at) { return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
  std::size_t end = size;
  while (end > 0 && size - end < 4 && isContinuation(end)) --end;
  return text.substr(0, isContinuation(end) ? size : end);
}

}  // namespace

std::string text(const std::string& path, WallTime deleted) {
  return "[Trash Info]\nPath=" + percentEncoded(path) +
         "\nDeletionDate=" + CalendarDate(deleted).description("%Y-%m-%dT%H:%M:%S") + "\n";
}

std::string nameWithSuffix(const std::string& name, const std::string& suffix, std::size_t limit) {
  constexpr std::size_t kLongestExtension = 16;  // what is longer is hardly one
  std::string extension = paths::extension(name);
  if (!extension.empty()) extension.insert(0, ".");
  if (extension.size() > kLongestExtension) extension.clear();
  const std::string end = "." + suffix + extension;
  const std::string stem = name.substr(0, name.size() - extension.size());
  return cut(stem, limit - std::min(limit, end.size())) + end;
}

}  // namespace lumisk::trash_info
