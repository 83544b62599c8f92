#pragma once

#include <cerrno>

#include "engine/folder_frame.h"
#include "engine/walk_rules.h"

namespace lumisk {

// Two names of the source are one at the destination: the code of that error, whose path is the other name.
inline constexpr int kNamesClash = ENOTUNIQ;

// Finds what stands at the destination for entry.name and sets entry.standing and entry.destinationName. Whatever is
// not proven absent and cannot be read is an error. A file in a folder that this run made is taken to be absent: what
// places it never replaces anything then, and reports EEXIST.
Result<void> lookUpDestination(FileCalls& files, FolderFrame& frame, WalkEntry& entry);

// The same for a name that the listing lacks: asks the file system, which may know it under another spelling.
Result<void> lookUpUnlisted(FileCalls& files, FolderFrame& frame, WalkEntry& entry);

}  // namespace lumisk
