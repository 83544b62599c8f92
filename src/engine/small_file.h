#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/file_calls.h"

namespace lumisk {

// Our own small files (lists, flags, markers) in folders of the user, by the folder's descriptor.

// All of a regular file; EFBIG above 256 MiB, ENOENT when it is missing.
Result<std::string> readSmallFile(FileCalls& files, int folder, const std::string& name);

// Whether such an error says that nothing of ours has the name: nothing at all, a link, a pipe, far too large a file.
// After every other one there may be something that says what must be known.
[[nodiscard]] bool isNoSmallFile(const Error& error);

enum class SmallFileDurability {
  kWithTheRun,  // reaches the disk with the run's data
  kNow,         // is on the disk, with its name, when the call returns
};
// Replaced in one step by a temporary sibling; with the mode of the old one, else `newMode`, else readable for whoever
// may list the folder: what two users keep in step they both have to know.
Result<void> replaceSmallFile(FileCalls& files, int folder, const std::string& name, std::string_view bytes,
                              SmallFileDurability durability, std::optional<std::uint32_t> newMode = std::nullopt);

// Gives a damaged file the name "<name>.damaged", replacing an earlier one.
Result<void> setAsideSmallFile(FileCalls& files, int folder, const std::string& name);

}  // namespace lumisk
