#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "helper/os_status.h"
#include "jobs/job_views.h"
#include "platform/file_calls.h"
#include "platform/property_list.h"

namespace lumisk {

// The files through which a clone is ordered and followed, in <home>/Library/Application Support/QelLumisk5: the job
// file NAME.plist, which we write, and NAME_1.plist (how far it is) and NAME_2.plist (how it ended), which the helper
// writes. Other programs know the keys: do not change.
inline constexpr const char* kCloneSourceKey = "kSourcePath";
inline constexpr const char* kCloneTargetKey = "kTargetPath";
inline constexpr const char* kCloneTargetDeviceKey = "kTargetBSDPath";
inline constexpr const char* kCloneFormatKey = "kFormatVolume";
inline constexpr const char* kCloneRepairKey = "kRepairPermissions";
inline constexpr const char* kCloneVerifyKey = "kVerify";
inline constexpr const char* kCloneTypeKey = "kCloneType";
inline constexpr const char* kCloneFileKey = "kXMLFilePath";
inline constexpr const char* kCloneCancelKey = "kCancelStatus";

// What becomes of that which the target has and the source has not. Stored values; do not change.
enum class CloneType : std::int32_t { kLeavesExtras = 0, kRemovesExtras = 1 };

enum class CloneStatusFile { kProgress = 1, kEnd = 2 };
[[nodiscard]] std::string cloneStatusPath(const std::string& jobFile, CloneStatusFile which);

[[nodiscard]] PropertyList::Dictionary cloneJobDictionary(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info,
                                                          const std::string& targetDevice, CloneType type,
                                                          const std::string& jobFile);

// Where the job file of this name goes, links in the way resolved, because the helper follows none. Makes the folder.
Result<std::string> cloneJobPath(FileCalls& files, const std::string& jobName);
// In one step, on the disk when it returns, for nobody else to read.
Result<void> writeCloneJob(FileCalls& files, const std::string& path, const PropertyList::Dictionary& job);
void removeCloneStatus(FileCalls& files, const std::string& jobFile);  // both, where they are

struct CloneEnd {
  bool isFinished = false;
  OSStatus code = kNoError;
  std::string message;  // one line; may be empty
  std::uint64_t differences = 0;
  struct Counts {
    std::uint64_t entries = 0;
    std::uint64_t copied = 0;
    std::uint64_t bytes = 0;
  };
  std::optional<Counts> counts{};  // of a clone that has begun
};
// Nothing while the clone goes on; so is a file that cannot be read.
[[nodiscard]] std::optional<CloneEnd> readCloneEnd(const std::string& jobFile);

struct RunningClone {
  std::uint64_t entries = 0;
  std::uint64_t bytes = 0;
  std::string currentFile;
};
[[nodiscard]] RunningClone readRunningClone(const std::string& jobFile);

}  // namespace lumisk
