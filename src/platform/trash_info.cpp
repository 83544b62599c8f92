#include "platform/trash_info.h"

#include <algorithm>
#include <string_view>

#include "platform/calendar_date.h"
#include "platform/civil_time.h"
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

int valueOfDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

// A "%" without two digits behind it stands for itself.
std::string percentDecoded(std::string_view encoded) {
  std::string bytes;
  for (std::size_t at = 0; at < encoded.size(); ++at) {
    const int high = at + 2 < encoded.size() ? valueOfDigit(encoded[at + 1]) : -1;
    const int low = high >= 0 ? valueOfDigit(encoded[at + 2]) : -1;
    const bool isEncoded = encoded[at] == '%' && low >= 0;
    bytes += isEncoded ? static_cast<char>(high * 16 + low) : encoded[at];
    if (isEncoded) at += 2;
  }
  return bytes;
}

// The value of the first line "key=value".
std::optional<std::string_view> valueOf(std::string_view key, std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    if (line.size() > key.size() && line.substr(0, key.size()) == key && line[key.size()] == '=')
      return line.substr(key.size() + 1);
  }
  return std::nullopt;
}

// "2009-03-03T14:30:05", local time; what follows (some write fractions or a zone) does not matter.
std::optional<WallTime> localTime(std::string_view text) {
  const auto asUtc = utcSeconds(text.substr(0, 19), 'T');
  if (!asUtc || !fitsWallTime(*asUtc)) return std::nullopt;
  const auto number = [&](std::size_t at, std::size_t size) { return std::stoi(std::string(text.substr(at, size))); };
  return CalendarDate::fromLocal(number(0, 4), number(5, 2), number(8, 2), number(11, 2), number(14, 2), number(17, 2))
      .time();
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

std::optional<Record> parse(std::string_view text) {
  const auto path = valueOf("Path", text);
  if (!path || path->empty()) return std::nullopt;
  const auto date = valueOf("DeletionDate", text);
  return Record{percentDecoded(*path), date ? localTime(*date) : std::nullopt};
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
