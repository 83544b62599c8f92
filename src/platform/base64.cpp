#include "platform/base64.h"

#include <array>
#include <cstdint>
#include <utility>

namespace lumisk {

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 64;

constexpr auto kDigitOf = [] {
  std::array<std::uint8_t, 256> table{};
  table.fill(kNoDigit);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return table;
}();

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

std::string base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto group = bytes.substr(i, 3);
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k)
      bits = bits << 8 | (k < group.size() ? static_cast<unsigned char>(group[k]) : 0);
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= group.size() ? kAlphabet[bits >> (18 - 6 * k) & 63] : '=';
    }
  }
  return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  std::size_t digits = 0, padding = 0;
  for (const char c : text) {
    if (isBlank(c)) continue;
    const auto digit = kDigitOf[static_cast<unsigned char>(c)];
    if (c == '=' ? ++padding > 2 : digit == kNoDigit || padding > 0) return std::nullopt;
    if (c == '=') continue;
    bits = bits << 6 | digit;
    if (++digits % 4 == 0) {
      for (const int shift : {16, 8, 0}) bytes += static_cast<char>(bits >> shift & 0xFF);
    }
  }
  if ((digits + padding) % 4 != 0) return std::nullopt;
  // The last group, of two or three digits; what is left of their bits is zero.
  if (padding == 2) bytes += static_cast<char>(bits >> 4 & 0xFF);
  if (padding == 1) bytes.append({static_cast<char>(bits >> 10 & 0xFF), static_cast<char>(bits >> 2 & 0xFF)});
  const std::uint32_t left = padding == 2 ? bits & 0xF : padding == 1 ? bits & 0x3 : 0;
  return left == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

}  // namespace lumisk
