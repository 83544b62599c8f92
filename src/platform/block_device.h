#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/result.h"

namespace lumisk::block_device {

// What /sys tells of the disk that a block device lies on, through partitions and device-mapper layers.
struct Facts {
  bool isRemovable = false;  // the medium can be taken out, or the disk hangs on USB or FireWire
  std::string description;   // maker and model, may be empty
};

// `device` as in FileIdentity. Nothing is known of a device without a disk (a tmpfs, a server's).
[[nodiscard]] Facts facts(std::uint64_t device, const std::string& sysFolder = "/sys");

// The same, of an entry in /sys: "/sys/devices/.../block/sdb/sdb1".
[[nodiscard]] Facts factsOfEntry(const std::string& sysPath);

struct Disk {
  std::string node;         // "/dev/sda"
  std::string description;  // maker and model; the device's name where they are not told
  std::uint64_t bytes = 0;
  bool isRemovable = false;
};

// The machine's disks: what hangs on a bus and holds a medium. Loop devices, memory, layers over other devices, optical
// drives and the boot partitions of built-in cards are none. By name.
[[nodiscard]] std::vector<Disk> disks(const std::string& sysFolder = "/sys");

// The files that loop devices show below the device, through layers of the device mapper. loop(4)
[[nodiscard]] std::vector<std::string> filesBelow(std::uint64_t device, const std::string& sysFolder = "/sys");

// The device's file, "/dev/sdb1", by its own account in /sys, since not every system has links by number. ENODEV when
// it is registered no longer; empty where that cannot be told.
[[nodiscard]] Result<std::string> nodeOf(std::uint64_t device, const std::string& sysFolder = "/sys");

// What the volume on the device calls itself: the names that udev keeps as links, else, when the device may be read,
// what stands in its superblock. Empty when neither is to be had. `node`: the device's file, may be empty.
[[nodiscard]] std::string uuid(std::uint64_t device, const std::string& node);
[[nodiscard]] std::string label(std::uint64_t device, const std::string& node);
// "ntfs", "exfat": as udev knows it, else as it stands in the superblock.
[[nodiscard]] std::string type(std::uint64_t device, const std::string& node);

// Whether a file system begins right at the device's beginning, as read there.
[[nodiscard]] bool holdsFileSystem(const std::string& node);

}  // namespace lumisk::block_device
