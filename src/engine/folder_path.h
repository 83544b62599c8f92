#pragma once

#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// Folders and entries by their path below an open folder, component by component, following no link. A relative path
// has no leading "/", no "." and no ".."; "" is the folder itself.

Result<Descriptor> openFolderBelow(FileCalls& files, int root, const std::string& relative);

// Whether nothing has this path: true when the first component that is missing is missing (ENOENT) in an opened folder.
// Any other failure is an error, never an absence.
Result<bool> isProvenAbsent(FileCalls& files, int root, const std::string& relative);

}  // namespace lumisk
