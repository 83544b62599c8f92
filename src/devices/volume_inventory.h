#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/mount_table.h"
#include "platform/property_list.h"

namespace lumisk {

// Questions about volumes and disks, for lists and for the clone. Stateless, any thread may ask; what cannot be
// answered gives the empty answer named here. The volume of a path is the one on which its entry lies: a link at the
// end of the path is not followed. A server that does not answer keeps the caller waiting, except for the list of
// mounts.

// Total and free bytes as pairs of 32-bit words. Free is what this user may still fill.
struct VolumeSize {
  std::uint32_t totalHigh = 0;
  std::uint32_t totalLow = 0;
  std::uint32_t freeHigh = 0;
  std::uint32_t freeLow = 0;

  [[nodiscard]] std::uint64_t total() const { return std::uint64_t{totalHigh} << 32 | totalLow; }
  [[nodiscard]] std::uint64_t free() const { return std::uint64_t{freeHigh} << 32 | freeLow; }
};

[[nodiscard]] std::string bunGetVolumeName(const std::string& path);  // " "
[[nodiscard]] VolumeSize bunGetVolumeSize(const std::string& path);   // all zero
// "/dev/sdb1"; "/dev/" alone of a volume without a device; nothing, and a line on standard output, when there is no
// such path.
[[nodiscard]] std::optional<std::string> QelGetVolumeBSDName(const std::string& path);

struct Volume {
  std::string name;
  std::string path;        // of the mount point
  std::string fileSystem;  // as the system calls it: "ext4", "nfs4"
  std::string device;      // "/dev/sdb1", "server:/export"
  std::uint64_t bytes = 0;
  std::uint64_t freeBytes = 0;
  bool isReadOnly = false;
};

// What is mounted and holds users' files, in mount order.
[[nodiscard]] std::vector<Volume> mountedVolumes();
// Of a mount table, the mounts that are volumes to people: no pseudo file systems, memory or images of packages,
// nothing that a later mount hides, and no second view of what another mount shows already. Pure.
[[nodiscard]] std::vector<MountEntry> volumeMounts(std::vector<MountEntry> mounts);

// Disk descriptions are dictionaries of these texts.
inline constexpr const char* kDiskNameKey = "DiskName";  // product name and size: "Samsung SSD 870 465.8 GB"
inline constexpr const char* kBSDNameKey = "BSDName";    // "/dev/sda"

[[nodiscard]] std::string getHardDiskString();             // the names, a line each
[[nodiscard]] PropertyList::Array getHardDiskDictArray();  // one description for each disk

}  // namespace lumisk
