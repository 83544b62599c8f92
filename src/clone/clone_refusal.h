#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "clone/volume_clone.h"
#include "platform/mount_table.h"

namespace lumisk {

// What is known of the two volumes before anything is touched.
struct CloneFacts {
  struct Volume {
    std::optional<MountEntry> mount;  // the one whose root the path is; empty when the path is no mount point
    std::uint64_t blockDevice = 0;    // its number; 0 when the file system lies on none
  };
  Volume source;
  Volume target;
  std::optional<std::uint64_t> orderedDevice;  // what the order calls the target's device
  std::vector<MountEntry> mounts;              // all there are

  struct InUse {
    std::string what;          // "/usr", "the running program"
    std::uint64_t device = 0;  // as in MountEntry
    std::uint64_t blockDevice = 0;
  };
  std::vector<InUse> inUse;  // by the running system

  std::uint64_t sourceUsed = 0;      // bytes
  std::uint64_t targetCapacity = 0;  // bytes that the source's files may take there, also after it has been erased
  std::uint64_t smallestVolume = 0;  // bytes that the file system to be made needs at least
  std::uint64_t targetDeviceSize = 0;
};

// Why the clone must not be made, in one line; nothing when it may.
[[nodiscard]] std::optional<std::string> whyRefused(const CloneOrder& order, const CloneFacts& facts);

// Bytes that a volume of another size or kind has for files, by one whose numbers are known.
[[nodiscard]] std::uint64_t capacityLike(std::uint64_t deviceSize, std::uint64_t knownDeviceSize,
                                         std::uint64_t knownCapacity);

}  // namespace lumisk
