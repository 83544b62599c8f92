#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "cli/exit_status.h"
#include "engine/copy_file_thread_object.h"

namespace lumisk {

// What a finished run is called. Pure.
enum class RunOutcome { kCompleted, kError, kCancelled, kHeld };
[[nodiscard]] RunOutcome resultOf(const RunReport& report);
[[nodiscard]] Ending endingOf(const RunReport& report);

// One or two lines for people, each with its newline.
enum class RunKind { kReal, kDry };
[[nodiscard]] std::string summaryText(const RunReport& report, RunKind kind);

// `job`, `result` ("completed", "error", "cancelled", "held"), `errorCode` and the counts.
[[nodiscard]] nlohmann::ordered_json summaryJson(const std::string& jobName, const RunReport& report);

}  // namespace lumisk
