#include "platform/temporary_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string_view>

namespace lumisk {

namespace {

const std::string kLastingPrefix = "earlier-version";

bool isHexDigit(char letter) {
  return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f');
}

}  // namespace

std::string makeTemporaryName() {
  thread_local std::mt19937_64 random{std::random_device{}() * std::uint64_t{0x100000001} ^ std::random_device{}()};
  return fmt::format(".lumisk-{:012x}", random() & 0xffffffffffff);
}

bool isTemporaryName(const std::string& name) {
  constexpr std::string_view kPrefix = ".lumisk-";
  constexpr std::size_t kDigits = 12;
  if (name.size() != kPrefix.size() + kDigits || name.compare(0, kPrefix.size(), kPrefix) != 0) return false;
  const std::string digits = name.substr(kPrefix.size());
  return std::all_of(digits.begin(), digits.end(), isHexDigit);
}

std::string lastingName(const std::string& temporary) {
  return kLastingPrefix + temporary;
}

bool isLastingName(const std::string& name) {
  return name.starts_with(kLastingPrefix) && isTemporaryName(name.substr(kLastingPrefix.size()));
}

}  // namespace lumisk
