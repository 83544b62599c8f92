#pragma once

#include <optional>
#include <string>
#include <vector>

#include "jobs/job_checks.h"
#include "platform/mount_table.h"

namespace lumisk {

// Why a clone must not be made or run; pure. Source and target, one of each, must be mounted volumes, and not the same
// one; the target has a device of its own and can be written to. Its name must not end like the status files of another
// clone (engine/clone_job_file.h). What only root can tell is checked by the helper.
[[nodiscard]] std::optional<JobProblem> checkCloneJob(const std::string& name, const std::vector<std::string>& sources,
                                                      const std::vector<std::string>& targets,
                                                      const std::vector<MountEntry>& mounts);

}  // namespace lumisk
