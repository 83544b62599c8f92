#pragma once

#include <string>

#include "platform/result.h"

namespace lumisk {

// Unmounts the volume that is mounted right at the path, when everything written to it has reached it; then it is safe
// to remove. By itself where this process may, else through the system's disk service (udisksctl(1)). Errors: EBUSY
// when somebody uses it, EINVAL when no volume of its own is mounted there; else what the system says, in one line.
// Waits for the disk.
Result<void> unmountVolume(const std::string& path);

}  // namespace lumisk
