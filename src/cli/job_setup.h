#pragma once

#include <string>
#include <vector>

#include "cli/command_io.h"
#include "cli/job_options.h"
#include "jobs/job_record.h"

namespace lumisk {

// The checks that a job passes before it is made, changed or run at once.

Checked<std::vector<std::string>> absolutePaths(const std::vector<std::string>& paths, const CommandIo& io);

Checked<void> checkSourcesExist(const std::vector<std::string>& sources);

enum class TargetState { kExists, kCanBeMade };
// A folder, or one that is missing from a folder that exists. Anything else is refused.
Checked<TargetState> checkTarget(const std::string& target);
// Refuses targets that do not exist.
Checked<void> checkTargetsExist(const std::vector<std::string>& targets);

// Options that a job of this type has no use for are refused where they would be taken for more than they are.
Checked<void> checkOptionsOfType(const GivenJobOptions& given, JobType type);

// That a clone's source and target are volumes now; of other jobs nothing.
Checked<void> checkVolumes(const QUORVELPREFERENCEINFO& job);

// Name, paths and where the folders lie to each other.
Checked<void> checkJob(const QUORVELPREFERENCEINFO& job, CommandIo& io);

// What the user should hear but may want, on io.err; `jobs` are the stored ones.
void showWarnings(const QUORVELPREFERENCEINFO& job, const PropertyList::Array& jobs, CommandIo& io);

}  // namespace lumisk
