#include "engine/pace.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr int kShortPauseMode = 3;
constexpr auto kShortEntryPause = 50us;
constexpr auto kEntryPause = 80us;
constexpr auto kChunkPause = 80us;
constexpr std::size_t kGentleChunk = 8192;
// Larger buffers fall out of the processor's cache: 512 KB measured up to four times slower.
constexpr std::size_t kFullChunk = 256 * 1024;

}  // namespace

void Pace::beginRun() const {
  if (kind_ == PaceKind::kGentle) askForExactSleeps();
}

void Pace::afterEntry(int mode) const {
  if (kind_ == PaceKind::kGentle) clock_.sleep(mode == kShortPauseMode ? kShortEntryPause : kEntryPause);
}

void Pace::afterChunk() const {
  if (kind_ == PaceKind::kGentle) clock_.sleep(kChunkPause);
}

std::size_t Pace::chunkSize() const {
  return kind_ == PaceKind::kGentle ? kGentleChunk : kFullChunk;
}

}  // namespace lumisk
