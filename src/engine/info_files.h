#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_calls.h"
#include "platform/property_list.h"

namespace lumisk {

// The info files that mark the folders of a job: property lists with the keys "name", "sourcePath" and
// "destinationPath" (arrays) and "uuid" (ours). The one in a target proves that this is the folder which the job has
// written to, and not a bare mount point or another volume.

enum class InfoFileKind { kSource, kTarget };

struct InfoFile {
  std::string name;  // of the job
  std::vector<std::string> sourcePath;
  std::vector<std::string> destinationPath;
  std::string uuid;
};

// "_SSSQelLumiskinfo_<job>" or "_XXXQelLumiskinfo_<job>", cut to 60 characters.
[[nodiscard]] std::string infoFileName(InfoFileKind kind, std::string_view jobName);
[[nodiscard]] bool isInfoFileName(std::string_view name);

// The name of the info file with this uuid, whatever job name it was made under; nothing when the completely listed
// folder has none. What cannot be read and could be it is an error.
Result<std::optional<std::string>> findInfoFile(FileCalls& files, int folder, InfoFileKind kind,
                                                const std::string& uuid);

// Makes sure that the open folder carries the job's info file. One that says the same already is not touched. Where
// another job's has the name (an earlier job of that name, another computer's), the name ends in a part of the uuid.
Result<void> createInfoFileIntoDestFolder(FileCalls& files, int target, const InfoFile& info);
// The same for a source; does nothing for one that is no folder.
Result<void> createInfoFileIntoSourceFolder(FileCalls& files, const std::string& source, const InfoFile& info);

// Whether a run may write into a target.
struct TargetEvidence {
  bool wasWrittenBefore = false;  // by this job
  bool hasInfoFile = false;       // with the job's uuid
  bool isAccepted = false;        // the user said that this new folder is meant
};
enum class TargetVerdict {
  kKnown,    // the folder that the job has written to
  kNew,      // not written to yet: gets the info file first, then all the rest
  kUnknown,  // a target problem: nothing is written or deleted, here and at the source
};
[[nodiscard]] TargetVerdict checkTarget(const TargetEvidence& evidence);

}  // namespace lumisk
