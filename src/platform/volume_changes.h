#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "platform/mount_table.h"
#include "platform/result.h"

namespace lumisk::volume {

// What only root may do with a whole volume. Any thread; the callers see to it that the volume is theirs to change.

// The label of the mounted file system in which the descriptor lies (FS_IOC_GETFSLABEL); EOPNOTSUPP or ENOTTY where it
// has none.
Result<std::string> labelOf(int descriptor);
// Of a mounted ext4, xfs or btrfs. EINVAL when it is too long.
Result<void> setLabel(int descriptor, const std::string& label);
[[nodiscard]] std::size_t longestLabel(const std::string& fileSystem);  // in bytes

// Bytes of a block device.
Result<std::uint64_t> deviceSize(const std::string& node);

// How many files, folders and other entries the file system holds; 0 where it does not count them.
Result<std::uint64_t> usedEntries(int descriptor);

// Makes a file system on a device that is not mounted, over what is there. `entries`: how many it must at least be able
// to hold. The error's detail is what mkfs says.
Result<void> makeFileSystem(const std::string& fileSystem, const std::string& node, const std::string& label,
                            std::uint64_t entries);
[[nodiscard]] bool canMakeFileSystem(const std::string& fileSystem);

// Mounts the device where `before`, a mount that has been undone, was, with the same options; those of the file system
// only where it is of the same type and takes them. No link in the mount point's path is followed.
Result<void> mountAgain(const MountEntry& before, const std::string& node, const std::string& fileSystem);

// Paths of the files that the kernel itself has open: swap, and what lies behind loop devices.
[[nodiscard]] std::vector<std::string> filesUsedByKernel();

// Keeps a device from going when it is unmounted, as loop devices do that nobody else uses.
Result<Descriptor> holdDevice(const std::string& node);
// Reads a little from the disk itself, not from memory; an error when it has gone.
Result<void> checkAnswers(const std::string& node);
// EBUSY while the device is mounted or otherwise taken, in another mount namespace for one.
Result<void> checkUnused(const std::string& node);

}  // namespace lumisk::volume
