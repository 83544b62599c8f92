#include "cli/job_files.h"

#include <cerrno>

#include "platform/home_folder.h"

namespace lumisk {
namespace {

std::string fileListFolder() {
  return homeFolder() + "/Library/Preferences/QEL_LUMISK";
}

std::string fileListName(const std::string& jobName) {
  return jobName + ".qellumiskdat";
}

// No list is no error.
Checked<void> unlessMissing(Result<void> result) {
  if (result || result.error().code == ENOENT) return {};
  return checked(std::move(result));
}

}  // namespace

Checked<void> removeFileList(FileCalls& files, const std::string& jobName) {
  const auto folder = files.openRoot(fileListFolder());
  if (!folder) return unlessMissing(fail(folder.error()));
  return unlessMissing(files.removeFile(folder->get(), fileListName(jobName)));
}

Checked<void> renameFileList(FileCalls& files, const std::string& from, const std::string& to) {
  LUMISK_CHECK(removeFileList(files, to));
  const auto folder = files.openRoot(fileListFolder());
  if (!folder) return unlessMissing(fail(folder.error()));
  return unlessMissing(
      files.rename(folder->get(), fileListName(from), folder->get(), fileListName(to), Replace::kNever));
}

}  // namespace lumisk
