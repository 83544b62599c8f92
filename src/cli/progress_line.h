#pragma once

#include <string>

#include "engine/job_progress_message.h"

namespace lumisk {

// How far a run is, in one line that is not wider than the terminal: percent, entries, bytes, rate, current file.
[[nodiscard]] std::string progressLine(const JobProgressMessage& message, double seconds, int columns);

}  // namespace lumisk
