#include "engine/time_granularity.h"

#include "platform/temporary_name.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds kCoarsest = 2s;

// Odd in seconds and in nanoseconds: whatever a file system cuts off shows.
constexpr FileTime kProbe{1'000'000'001, 123'456'789};

std::chrono::nanoseconds granularityThatKeeps(const FileTime& kept) {
  if (kept == kProbe) return 1ns;
  if (kept.seconds != kProbe.seconds) return kCoarsest;
  return kept.nanoseconds / 100 == kProbe.nanoseconds / 100 ? std::chrono::nanoseconds(100ns) : 1s;
}

Result<FileTime> setAndReadBack(FileCalls& files, int file) {
  LUMISK_CHECK(files.setModified(file, kProbe));
  LUMISK_TRY(const FileStatus status, files.statusOf(file));
  return status.modified;
}

Result<FileTime> probe(FileCalls& files, int folder) {
  const std::string name = makeTemporaryName();
  LUMISK_TRY(const Descriptor file, files.createFile(folder, name, 0600));
  auto kept = setAndReadBack(files, file.get());
  LUMISK_CHECK(files.removeFile(folder, name));
  return kept;
}

}  // namespace

std::chrono::nanoseconds probeTimeGranularity(FileCalls& files, int folder) {
  const auto before = files.statusOf(folder);
  const auto kept = probe(files, folder);
  if (before) static_cast<void>(files.setModified(folder, before->modified));  // not ours to set everywhere
  return kept ? granularityThatKeeps(*kept) : kCoarsest;
}

// Dates of files may be anything that 64 bits hold: no difference of two can be trusted to fit.
bool isCloserThan(std::chrono::nanoseconds distance, const FileTime& a, const FileTime& b) {
  const auto& [earlier, later] = std::minmax(a, b);
  const std::uint64_t seconds = static_cast<std::uint64_t>(later.seconds) - static_cast<std::uint64_t>(earlier.seconds);
  if (seconds > 1'000'000) return false;
  const std::int64_t nanoseconds = std::int64_t{later.nanoseconds} - std::int64_t{earlier.nanoseconds};
  return std::chrono::seconds(seconds) + std::chrono::nanoseconds(nanoseconds) < distance;
}

std::chrono::nanoseconds TimeGranularities::of(int folder, std::uint64_t device) {
  const auto known = known_.find(device);
  if (known != known_.end()) return known->second;
  return known_[device] = probeTimeGranularity(files_, folder);
}

}  // namespace lumisk
