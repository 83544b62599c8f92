#pragma once

#include <optional>
#include <string>
#include <vector>

#include "jobs/job_record.h"
#include "platform/file_calls.h"

namespace lumisk {

// Why a job must not be made or run; `subject` is the path or name that is wrong.
struct JobProblem {
  std::string subject;
  std::string reason;  // "the name is empty", "the target lies inside the source"
};

// Names become file names: not empty, no "/", no NUL or control character, not "." or "..", and short enough that
// "<name>.qellumiskdat" fits a file name of 255 bytes.
[[nodiscard]] std::optional<JobProblem> checkJobName(const std::string& name);

// What can be told from the texts alone: sources and targets present and absolute, without "." and "..", as many
// targets as sources or one, no two sources with the same last component, no source called "Revision".
[[nodiscard]] std::optional<JobProblem> checkJobPaths(const QUORVELPREFERENCEINFO& job);

// What needs the disk (by device and inode, links resolved): a target that is a file; source and target the same
// folder, the target inside a source, a source inside the target where that would copy a copy. A path that does not
// exist is judged by its nearest existing ancestor. A two-way job whose target lies inside its source is allowed only
// where the walk can leave its own copy out (bRetainFullPath, and one source). A clone's target may lie inside its
// source when it is another file system (everything lies inside "/"). The paths have passed checkJobPaths().
// `computerName` is the one that a job which retains full paths goes by (kComputerNameKey); empty: the current one.
[[nodiscard]] std::optional<JobProblem> checkJobFolders(FileCalls& files, JobType type, bool retainFullPath,
                                                        const std::vector<std::string>& sources,
                                                        const std::vector<std::string>& targets,
                                                        const std::string& computerName = {});

// What the user should hear before the job is made, but may want: a folder that serves another of `jobs` (stored
// dictionaries; those with this job's uuid are this job) in a way that one of them changes what the other copies, and
// names of sources that a folding file system takes for one. By the texts alone.
[[nodiscard]] std::vector<JobProblem> jobWarnings(const QUORVELPREFERENCEINFO& job, const PropertyList::Array& jobs);

}  // namespace lumisk
