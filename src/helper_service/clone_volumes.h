#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "clone/volume_clone.h"
#include "platform/mount_table.h"
#include "platform/result.h"

namespace lumisk {

// Which volumes may be cloned onto which, decided by what is mounted and by device numbers, never by names alone.

struct MountedDevice {
  MountEntry mount;
  std::uint64_t device = 0;  // as in volume::Device
  std::string node;          // its file; empty when none is behind it
};

struct CloneVolumes {
  MountedDevice source;
  MountedDevice target;
};

struct VolumeFacts {
  CloneVolumes volumes;
  std::uint64_t namedDevice = 0;             // what the order calls the target's device
  std::vector<MountedDevice> mounts;         // all of the machine
  std::vector<std::uint64_t> systemDevices;  // what the running system lives on
};

// Pure. What is refused: a source of no real files (ENOTSUP), a target that is no whole volume on a block device
// (ENOTBLK, EINVAL) or another than the one named (ENODEV), the source itself (EINVAL), a volume of the running system
// (EPERM), one that is mounted elsewhere, too, or has other mounts below (EBUSY), and one that is read-only (EROFS).
Result<void> checkCloneVolumes(const VolumeFacts& facts);

// Looks, then decides. `alsoInUse`: places that the target must not hold, besides those of the system. Both paths must
// be mount points; no link leads to them, and nobody but root can move what lies above the target.
Result<CloneVolumes> findCloneVolumes(const CloneOrder& order, const std::vector<std::string>& alsoInUse);

}  // namespace lumisk
