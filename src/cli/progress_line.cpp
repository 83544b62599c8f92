#include "cli/progress_line.h"

#include <fmt/format.h>

#include "platform/byte_text.h"
#include "platform/number_text.h"
#include "platform/terminal.h"

namespace lumisk {
namespace {

// Before that much time the quotient says nothing.
constexpr double kFirstRateSeconds = 0.5;

std::string rateText(std::uint64_t bytes, double seconds) {
  if (seconds < kFirstRateSeconds) return "";
  return fmt::format("  {}/s", bytesText(static_cast<std::uint64_t>(static_cast<double>(bytes) / seconds)));
}

}  // namespace

std::string progressLine(const JobProgressMessage& message, double seconds, int columns) {
  // Entries are counted when they are begun; the last one may be the largest.
  const int percent = std::clamp(static_cast<int>(message.totalPercent), 0, 99);
  const std::string total = message.entriesTotal > 0 ? " of " + countText(message.entriesTotal) : "";
  const std::string line =
      fmt::format("{:3}%  {}{} entries  {}{}  {}", percent, countText(message.entries), total, bytesText(message.bytes),
                  rateText(message.bytes, seconds), displayText(message.fileName));
  // A line that fills the last column makes some terminals begin the next one.
  return terminal::cutToColumns(line, columns - 1);
}

}  // namespace lumisk
