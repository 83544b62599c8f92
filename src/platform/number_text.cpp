#include "platform/number_text.h"

#include <fmt/format.h>

#include <cmath>

namespace lumisk {

std::string countText(std::uint64_t count, std::string_view separator) {
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3;) {
    at -= 3;
    digits.insert(at, separator);
  }
  return digits;
}

std::string bytesText(std::uint64_t bytes, std::string_view decimalPoint) {
  constexpr std::uint64_t kStep = 1000;
  if (bytes < kStep) return fmt::format("{} B", bytes);
  double size = static_cast<double>(bytes) / kStep;
  const char* unit = "kB";
  for (const char* larger : {"MB", "GB", "TB", "PB"}) {
    if (size < 999.95) break;  // it would be shown as 1000.0
    size /= kStep;
    unit = larger;
  }
  const std::string number = fmt::format("{:.1f}", size);
  return fmt::format("{}{}{} {}", number.substr(0, number.size() - 2), decimalPoint, number.back(), unit);
}

std::string durationText(double seconds) {
  if (seconds < 59.95) return fmt::format("{:.1f} s", seconds);
  const auto whole = static_cast<std::int64_t>(std::llround(seconds));
  if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole / 60 % 60);
}

}  // namespace lumisk
