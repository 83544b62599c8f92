#pragma once

#include <string>
#include <vector>

#include "engine/version_catalog.h"
#include "engine/version_places.h"
#include "platform/property_list.h"

namespace lumisk {

// What there is to restore, and what a restore touches.

// A path that the user asks about, and the stored jobs' places of it.
struct AskedPath {
  std::string path;                  // absolute
  std::vector<VersionPlace> places;  // none: no stored job copies it
  PropertyList::Array jobs;
};
// `path` is absolute and normalised. Where no job knows it, the links in its folders are resolved and it is looked for
// again: it may have been reached by one.
[[nodiscard]] AskedPath askedPlaces(FileCalls& files, PropertyList::Array jobs, const std::string& path);

// One name in a folder, in any of its versions.
struct KnownEntry {
  std::string name;
  FileType type = FileType::kUnknown;
  bool isGone = false;  // the source has it no longer
};
// All names that the folder has, has had as far as copies and the Trash tell, by name. What cannot be looked into is
// passed by.
[[nodiscard]] std::vector<KnownEntry> knownEntries(FileCalls& files, const std::vector<VersionPlace>& places);

// The targets that versions lie in, and any that the destination lies in: runs are kept away from them (lockTargets()).
[[nodiscard]] std::vector<std::string> targetsOfRestore(const AskedPath& asked, const std::string& destination);
// For restoreVersion(), to its place: a source may have been deleted as a whole, and all that leads to the path in it.
// A target is never made: one that is missing is on a disk that is away.
[[nodiscard]] std::string firstFolderToMake(const VersionPlace& place, const std::string& destination);
// The path of a copy that is newer than what was restored to its place; "" for none. Jobs go by dates: they would leave
// it as it is, or bring it back.
[[nodiscard]] std::string newerCopyThan(const Version& restored, const KnownVersions& known);

}  // namespace lumisk
