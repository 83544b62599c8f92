#include "presenters/uri_list.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "platform/home_folder.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::string_view kScheme = "file:";
constexpr std::string_view kLocalHost = "localhost";
constexpr int kHexadecimal = 16;

std::optional<char> byteOf(std::string_view twoDigits) {
  unsigned value = 0;
  const char* const end = twoDigits.data() + twoDigits.size();
  const auto [stop, error] = std::from_chars(twoDigits.data(), end, value, kHexadecimal);
  const bool isByte = twoDigits.size() == 2 && error == std::errc() && stop == end && value != 0;
  return isByte ? std::optional(static_cast<char>(value)) : std::nullopt;
}

std::optional<std::string> decoded(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    const auto byte = byteOf(text.substr(i + 1, 2));
    if (!byte) return std::nullopt;
    bytes += *byte;
    i += 2;
  }
  return bytes;
}

std::optional<std::string> pathOf(std::string_view uri) {
  if (!uri.starts_with(kScheme)) return std::nullopt;
  uri.remove_prefix(kScheme.size());
  if (uri.starts_with("//")) {
    uri.remove_prefix(2);
    if (uri.starts_with(kLocalHost)) uri.remove_prefix(kLocalHost.size());
  }
  if (!uri.starts_with('/')) return std::nullopt;
  const auto path = decoded(uri);
  return path ? std::optional(paths::normalised(*path, "/")) : std::nullopt;
}

}  // namespace

std::vector<std::string> pathsOfUriList(std::string_view list) {
  std::vector<std::string> paths;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find_first_of("\r\n"), list.size());
    if (auto path = pathOf(list.substr(0, end))) paths.push_back(std::move(*path));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return paths;
}

std::string pathOfTyped(const std::string& typed) {
  const bool isOfHome = typed == "~" || typed.starts_with("~/");
  return isOfHome ? homeFolder() + typed.substr(1) : typed;
}

}  // namespace lumisk
