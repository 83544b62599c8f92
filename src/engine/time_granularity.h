#pragma once

#include <chrono>

#include "platform/file_calls.h"

namespace lumisk {

// How coarse the modification times are that the file system of this open folder keeps (1 ns, 100 ns, 1 s, 2 s), found
// by setting one on a temporary file and reading it back. 2 s, the coarsest known, when it cannot be found out.
[[nodiscard]] std::chrono::nanoseconds probeTimeGranularity(FileCalls& files, int folder);

}  // namespace lumisk
