#include "engine/run_state.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr double kProgressStep = 0.5;  // percent
constexpr auto kProgressInterval = 250ms;

double percentOf(std::uint64_t part, std::uint64_t whole) {
  if (whole == 0) return 0;
  return std::min(100.0, static_cast<double>(part) / static_cast<double>(whole) * 100);
}

}  // namespace

void RunState::noteError(RunError code) {
  ++counts.errors;
  if (m_nErrorCode != RunError::kOutOfSpace) m_nErrorCode = code;
}

void RunState::noteOutOfSpace() {
  m_nErrorCode = RunError::kOutOfSpace;
  if (onOutOfSpace) onOutOfSpace();
}

void RunState::reportProgress(const std::string& fileName, double filePercent) {
  if (!postProgress) return;
  const double percent = percentOf(m_nFileCount, m_nFileTotal);
  const auto now = clock.steadyNow();
  if (percent <= currentPercent + kProgressStep && now - lastProgress < kProgressInterval) return;
  auto message = JobProgressMessage::messageWithJobName(info.name, fileName, percent, filePercent);
  message.entries = m_nFileCount;
  message.entriesTotal = m_nFileTotal;
  message.bytes = counts.bytes + bytesOfFile;
  currentPercent = std::max(currentPercent, percent);
  lastProgress = now;
  postProgress(message);
}

}  // namespace lumisk
