#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// Texts about paths and sizes. Pure.

// "2.50 KB", "1.00 TB", "17 B": powers of 1024, in single precision.
[[nodiscard]] std::string sizeWithGMKFormat(std::uint64_t bytes);

// One side of the conflict dialog: name, size, creation and modification date, a line each.
[[nodiscard]] std::string getStringWithFileName(const std::string& fileName, const FileStatus& attributes);

// The place in the other of a job's two folders: the folder at the beginning of `path`, by whole components, is
// replaced by the other. Nothing when `path` does not lie there.
[[nodiscard]] std::optional<std::string> getSourcePathFromPath(const std::string& path, const std::string& target,
                                                               const std::string& source);
[[nodiscard]] std::optional<std::string> getTargetPathFromPath(const std::string& path, const std::string& source,
                                                               const std::string& target);

}  // namespace lumisk
