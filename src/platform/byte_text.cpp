#include "platform/byte_text.h"

#include <fmt/format.h>
#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace lumisk {

namespace {

constexpr std::size_t kInvalid = 0;

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// How many bytes the UTF-8 character at the front takes; kInvalid when there is none. Overlong forms, surrogates and
// what lies above U+10FFFF show in the first two bytes (RFC 3629).
std::size_t characterLength(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(i < text.size() ? text[i] : 0); };
  const auto first = byte(0);
  if (first < 0x80) return text.empty() ? kInvalid : 1;
  if (first < 0xC2 || first > 0xF4) return kInvalid;
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(byte(i))) return kInvalid;
  }
  const auto second = byte(1);
  const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return wrong ? kInvalid : length;
}

// C0, DEL and, in UTF-8, C1.
bool isControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

std::string takeOwnership(char* text) {
  std::string result(text);
  g_free(text);
  return result;
}

std::string asciiLower(std::string_view bytes) {
  std::string result(bytes);
  for (char& byte : result) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
  return result;
}

// Nearly every text is plain: eight bytes at a time.
std::string_view withoutPlainBegin(std::string_view bytes) {
  constexpr std::uint64_t kNotPlain = 0x8080808080808080;
  for (std::uint64_t word = 0; bytes.size() >= sizeof word; bytes.remove_prefix(sizeof word)) {
    std::memcpy(&word, bytes.data(), sizeof word);
    if ((word & kNotPlain) != 0) break;
  }
  return bytes;
}

}  // namespace

bool isValidUtf8(std::string_view bytes) {
  bytes = withoutPlainBegin(bytes);
  while (!bytes.empty()) {
    const auto length = characterLength(bytes);
    if (length == kInvalid) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

void appendUtf8(std::string& text, char32_t c) {
  const auto tail = [&text, c](int shift) { text += static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | c >> 6);
    tail(0);
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0 | c >> 12);
    tail(6), tail(0);
  } else {
    text += static_cast<char>(0xF0 | c >> 18);
    tail(12), tail(6), tail(0);
  }
}

std::string displayText(std::string_view bytes) {
  std::string result;
  while (!bytes.empty()) {
    const auto valid = characterLength(bytes);
    const auto character = bytes.substr(0, std::max<std::size_t>(valid, 1));
    bytes.remove_prefix(character.size());
    if (valid != kInvalid && !isControl(character)) {
      result += character;
      continue;
    }
    for (const char byte : character) {
      fmt::format_to(std::back_inserter(result), "\\x{:02X}", static_cast<unsigned char>(byte));
    }
  }
  return result;
}

bool isStringIncluded(std::string_view text, std::string_view part) {
  return !part.empty() && text.find(part) != std::string_view::npos;
}

std::string foldedName(std::string_view name) {
  if (!isValidUtf8(name) || name.find('\0') != std::string_view::npos) return asciiLower(name);
  const auto size = static_cast<gssize>(name.size());
  // Decomposed first: folding alone does not unite the composed and the decomposed spelling of every letter.
  const auto decomposed = takeOwnership(g_utf8_normalize(name.data(), size, G_NORMALIZE_NFD));
  const auto folded = takeOwnership(g_utf8_casefold(decomposed.c_str(), -1));
  return takeOwnership(g_utf8_normalize(folded.c_str(), -1, G_NORMALIZE_NFC));
}

}  // namespace lumisk
