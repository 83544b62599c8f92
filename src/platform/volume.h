#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/file_calls.h"
#include "platform/mount_table.h"
#include "platform/result.h"

namespace lumisk::volume {

// What stands at the end of the path when that is a link.
enum class FinalLink : std::uint8_t { kFollowed, kItself };

// The mount on which the path's entry lies. A path that does not exist is an error.
Result<MountEntry> mountHolding(const std::string& path, FinalLink link = FinalLink::kFollowed);

// The number of that mount, by which the path is known to lie on it still as long as the mount table does not change.
// ENOSYS where the system does not tell it.
Result<std::uint64_t> mountNumberOf(const std::string& path, FinalLink link = FinalLink::kFollowed);

struct Device {
  std::uint64_t number = 0;  // as in FileIdentity
  std::string node;          // "/dev/sdb1", empty when it has no file
};

// The mount's own number stands for no device on btrfs; its source does. What users serve themselves (fuse(4)) lies on
// no device, whatever they call its source; what root serves from one ("fuseblk") has the device's number.
[[nodiscard]] Device deviceOf(const MountEntry& mount);

// The number of the block device with this name ("loop1") or file ("/dev/loop1", links followed); nothing when there is
// none.
[[nodiscard]] std::optional<std::uint64_t> blockDeviceNumber(const std::string& nameOrNode);

// How the volume is called: its label; without one "Root" for "/", else the last name of its mount point.
[[nodiscard]] std::string name(const MountEntry& mount);

// The file system's type; the one on the device where the mount names only the program that serves it ("fuseblk").
[[nodiscard]] std::string fileSystemOf(const MountEntry& mount);

// Of the file system that holds the path's entry. A server that does not answer keeps the caller waiting.
Result<SpaceStatus> space(const std::string& path, FinalLink link = FinalLink::kFollowed);

}  // namespace lumisk::volume
