#pragma once

#include <map>
#include <string>

#include "platform/file_calls.h"

namespace lumisk {

inline constexpr const char* kFolderFlagName = ".lumiskFolderFlagPlist";

// What the flag of a folder says about a job.
enum class FolderState : int {
  kNew = 0,      // no flag, or none of this job
  kRenamed = 1,  // flagged under another path: the folder was renamed or moved (or copied with its flag)
  kKnown = 2,    // flagged under this path
};

// The flag of one folder of a two-way job: a property list file in the folder, a dictionary from a job's uuid to the
// full path that the folder had when that job last flagged it. Several jobs flag the same folder. A damaged flag is no
// flag.
class FolderFlags {
 public:
  // `path`: the folder as the job spells it.
  FolderFlags(FileCalls& files, std::string uuid, std::string path)
      : files_(files), uuid_(std::move(uuid)), path_(std::move(path)) {}

  // An error when there is a flag that cannot be read: that says nothing of the folder.
  Result<FolderState> checkTheFolderStateAtPath(int folder);
  // After a check that gave kRenamed: the recorded path, and its last component.
  [[nodiscard]] const std::string& originalPath() const { return originalPath_; }
  [[nodiscard]] std::string getOrginalFolderNameAtPath() const;
  Result<void> createFolderFlagFileAtPath(int folder);

 private:
  Result<std::map<std::string, std::string>> read(int folder);

  FileCalls& files_;
  std::string uuid_;
  std::string path_;
  std::string originalPath_;
};

}  // namespace lumisk
