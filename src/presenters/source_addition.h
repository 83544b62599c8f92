#pragma once

#include <string>
#include <vector>

#include "platform/file_calls.h"
#include "presenters/jobs_board.h"

namespace lumisk {

// Adds folders and files that a file manager sent to a job's sources; those that it has already are left out. Why not,
// in one line.
[[nodiscard]] JobsBoard::Refusal addSourcesToJob(JobsBoard& board, FileCalls& files, const std::string& uuid,
                                                 const std::vector<std::string>& paths);

}  // namespace lumisk
