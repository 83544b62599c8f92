#pragma once

#include <string>

#include "cli/complaint.h"
#include "platform/file_calls.h"

namespace lumisk {

// The file list of a job, <home>/Library/Preferences/QEL_LUMISK/<name>.qellumiskdat: which files its last run copied
// where. It goes by the job's name, so it follows the job.
Checked<void> removeFileList(FileCalls& files, const std::string& jobName);
// What stands under the new name belonged to another job, and goes.
Checked<void> renameFileList(FileCalls& files, const std::string& from, const std::string& to);

}  // namespace lumisk
