#pragma once

#include <string>
#include <string_view>

#include "platform/file_calls.h"

namespace lumisk {

// Our own small files (lists, flags, markers) in folders of the user, by the folder's descriptor.

// All of a regular file; EFBIG above 256 MiB, ENOENT when it is missing.
Result<std::string> readSmallFile(FileCalls& files, int folder, const std::string& name);

enum class SmallFileDurability {
  kWithTheRun,  // reaches the disk with the run's data
  kNow,         // is on the disk, with its name, when the call returns
};
// Replaced in one step by a temporary sibling; `newMode` for a new file, else the mode of the old one.
Result<void> replaceSmallFile(FileCalls& files, int folder, const std::string& name, std::string_view bytes,
                              SmallFileDurability durability, std::uint32_t newMode = 0600);

// Gives a damaged file the name "<name>.damaged", replacing an earlier one.
Result<void> setAsideSmallFile(FileCalls& files, int folder, const std::string& name);

}  // namespace lumisk
