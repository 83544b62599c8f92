#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/version_places.h"
#include "platform/clock.h"
#include "platform/file_calls.h"

namespace lumisk {

enum class VersionKind {
  kCopy,      // the current copy in a target
  kRevision,  // an earlier version, numbered
  kOld,       // the "(OLD)" copy of a conflict that kept both
  kTrash,     // what was overwritten or deleted
  kSource,    // of a path in a target: what stands at the source
};

// One version of a file or folder that can be put back.
struct Version {
  VersionKind kind = VersionKind::kCopy;
  std::string path;   // where it lies, absolute
  FileStatus status;  // its type, size and date
  int revision = 0;   // of a revision: its number
  std::optional<WallTime> deleted;
  VersionPlace place;  // by which it was found
};

struct KnownVersions {
  std::vector<Version> versions;  // newest first, by their own dates
  std::vector<Error> problems;    // places that could not be looked into: there may be more versions
};

// All versions that the places and the Trash hold. What was in a folder that is in the Trash is found there. Follows no
// link below a source, a target or a trash folder; changes nothing.
[[nodiscard]] KnownVersions findVersions(FileCalls& files, const std::vector<VersionPlace>& places);

// The number of a revision by its name; 0 for what is no revision of the file. Pure.
[[nodiscard]] int revisionNumber(const std::string& listedName, const std::string& fileName);

// The path with the links in its folders resolved, as far as they exist.
[[nodiscard]] std::string resolvedPath(FileCalls& files, const std::string& path);

}  // namespace lumisk
