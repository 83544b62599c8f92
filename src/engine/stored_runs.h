#pragma once

#include <cstdint>
#include <optional>

#include "engine/two_way_rule.h"
#include "jobs/job_views.h"
#include "platform/clock.h"

namespace lumisk {

// What the stored dates tell of a job's earlier runs.

// Whether the last run that began did not complete.
[[nodiscard]] bool lastRunDidNotComplete(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info);
// The last one that completed, for decisions that need it exactly.
[[nodiscard]] std::optional<CompletedRun> lastCompletedRun(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info);

// Between the forms of a time.
[[nodiscard]] FileTime fileTimeOf(std::int64_t nanoseconds);  // since 1970
[[nodiscard]] std::int64_t nanosecondsOf(WallTime time);

}  // namespace lumisk
