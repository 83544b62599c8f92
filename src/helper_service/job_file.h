#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "clone/volume_clone.h"
#include "platform/descriptor.h"
#include "platform/property_list.h"
#include "platform/result.h"

namespace lumisk {

// The XML file that orders a clone: "kSourcePath", "kTargetPath", "kTargetBSDPath" and more. It belongs to somebody who
// may change it and all around it at any moment, so it is read once, with his rights, and only what was read then
// counts.

// Who ordered it. What is done for him to files is done with his rights.
struct JobOwner {
  std::uint32_t user = 0;
  std::uint32_t group = 0;
};

struct CloneJob {
  Descriptor folder;       // where the file lay when it was checked; its status files go there
  std::string folderPath;  // for what is said about it
  std::string name;
  JobOwner owner;
  CloneOrder order;
};

inline constexpr std::size_t kLargestJobFile = 1'048'576;

// EINVAL for a path that is not plain; the errors of platform/untrusted_file.h; kNotADictionary for what is no XML
// dictionary; EINVAL for values that are missing, of another kind, or out of range.
Result<CloneJob> openCloneJob(const std::string& path, const JobOwner& owner);

// The file once more, by its name in the folder that was checked, under the same rules.
Result<PropertyList::Dictionary> readJobFile(int folder, const std::string& name, const JobOwner& owner);

// Pure.
Result<CloneOrder> cloneOrderOf(const PropertyList::Dictionary& job);
[[nodiscard]] bool isCancelAsked(const PropertyList::Dictionary& job);
// Beside "job.plist": "job_1.plist" for the progress, "job_2.plist" for the end.
enum class StatusFile { kProgress = 1, kEnd = 2 };
[[nodiscard]] std::string statusFileName(const std::string& jobFile, StatusFile which);

}  // namespace lumisk
