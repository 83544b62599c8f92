#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list.h"

namespace lumisk {

// The file system on which a job found a place of its sources: a source itself, or a mount below one. What is missing
// on another file system, or below a mount that has gone, was not deleted.
struct RememberedFileSystem {
  std::string place;
  std::string mountPoint;
  std::string uuid;    // empty where the system does not tell it; then the next two count
  std::string type;    // "ext4", "nfs4"
  std::string source;  // device or server path
  friend bool operator==(const RememberedFileSystem&, const RememberedFileSystem&) = default;
};
using RememberedFileSystems = std::vector<RememberedFileSystem>;

// Pure.

// The stored form, an array of dictionaries; what is no such thing is left out.
[[nodiscard]] RememberedFileSystems fileSystemsFromList(const PropertyList& list);
[[nodiscard]] PropertyList fileSystemsToList(const RememberedFileSystems& fileSystems);

// Whether both are the same file system, mounted at the same place.
[[nodiscard]] bool isSameFileSystem(const RememberedFileSystem& then, const RememberedFileSystem& now);
enum class RootVerdict { kSame, kUnknown /* nothing is remembered of it */, kAnother };
[[nodiscard]] RootVerdict checkRoot(const RememberedFileSystems& then, const RememberedFileSystem& now);
// The remembered mounts below the source that are gone, or another file system by now.
[[nodiscard]] RememberedFileSystems goneMounts(const RememberedFileSystems& then, std::string_view source,
                                               const RememberedFileSystems& now);

// What the system says now. An error for a place that is not there.
Result<RememberedFileSystem> fileSystemNow(const std::string& place);
// The mounts below a source, those without users' files left out; their places and mount points are spelled below the
// source as it is given, also where it leads there by a link.
Result<RememberedFileSystems> mountsBelow(const std::string& source);

}  // namespace lumisk
