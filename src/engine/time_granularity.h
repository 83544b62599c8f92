#pragma once

#include <chrono>
#include <cstdint>
#include <map>

#include "platform/file_calls.h"

namespace lumisk {

// How coarse the modification times are that the file system of this open folder keeps (1 ns, 100 ns, 1 s, 2 s), found
// by setting one on a temporary file and reading it back. The folder keeps its own date where that is permitted. 2 s,
// the coarsest known, when it cannot be found out.
[[nodiscard]] std::chrono::nanoseconds probeTimeGranularity(FileCalls& files, int folder);

// Whether two times lie less than `distance` apart; it is at most a few seconds.
[[nodiscard]] bool isCloserThan(std::chrono::nanoseconds distance, const FileTime& a, const FileTime& b);

// Probes each file system once.
class TimeGranularities {
 public:
  explicit TimeGranularities(FileCalls& files) : files_(files) {}

  [[nodiscard]] std::chrono::nanoseconds of(int folder, std::uint64_t device);

 private:
  FileCalls& files_;
  std::map<std::uint64_t, std::chrono::nanoseconds> known_;  // by device
};

}  // namespace lumisk
