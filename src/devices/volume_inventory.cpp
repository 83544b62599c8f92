#include "devices/volume_inventory.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "platform/block_device.h"
#include "platform/paths.h"
#include "platform/volume.h"

namespace lumisk {
namespace {

using volume::FinalLink;

std::uint32_t highWord(std::uint64_t value) {
  return static_cast<std::uint32_t>(value >> 32);
}

std::uint32_t lowWord(std::uint64_t value) {
  return static_cast<std::uint32_t>(value & 0xFFFFFFFF);
}

template <std::size_t Size>
bool contains(const std::string_view (&names)[Size], std::string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Files may lie there, yet nobody keeps any: memory, package images, views of other volumes, triggers of mounts.
bool isForTheSystem(const MountEntry& mount) {
  static constexpr std::string_view kTypes[] = {"autofs", "fuse.gvfsd-fuse", "ramfs", "squashfs", "tmpfs"};
  const bool isContainersFolder = mount.fileSystem == "overlay" && mount.mountPoint != "/";
  return isPseudoFileSystem(mount.fileSystem) || contains(kTypes, mount.fileSystem) || isContainersFolder;
}

// Subvolumes of btrfs lie inside each other and are mounted apart on purpose; any other folder mounted once more is a
// second view.
bool showsPartOf(const MountEntry& mount, const MountEntry& other) {
  if (mount.device != other.device) return false;
  return mount.fileSystem == "btrfs" ? mount.root == other.root : paths::isInside(mount.root, other.root);
}

// Of two mounts that show the same folder the first one is the volume.
bool isSecondView(const std::vector<MountEntry>& mounts, const MountEntry& mount) {
  return std::any_of(mounts.begin(), mounts.end(), [&](const MountEntry& other) {
    if (&other == &mount || !showsPartOf(mount, other)) return false;
    return other.root != mount.root || &other < &mount;
  });
}

void dropHidden(std::vector<MountEntry>& mounts) {
  std::vector<MountEntry> visible;
  for (auto mount = mounts.begin(); mount != mounts.end(); ++mount)
    if (std::none_of(mount + 1, mounts.end(), [&](const auto& later) { return later.mountPoint == mount->mountPoint; }))
      visible.push_back(std::move(*mount));
  mounts = std::move(visible);
}

Volume volumeOfMount(const MountEntry& mount) {
  Volume volume;
  volume.name = volume::name(mount);
  volume.path = mount.mountPoint;
  volume.fileSystem = volume::fileSystemOf(mount);
  const std::string node = volume::deviceOf(mount).node;
  volume.device = node.empty() ? mount.source : node;
  volume.isReadOnly = mount.isReadOnly;
  if (const auto space = volume::space(mount.mountPoint)) {
    volume.bytes = space->total;
    volume.freeBytes = space->available;
  }
  return volume;
}

std::string diskName(const block_device::Disk& disk) {
  return fmt::format("{} {:.1f} GB", disk.description, static_cast<double>(disk.bytes) / (1U << 30));
}

}  // namespace

std::string bunGetVolumeName(const std::string& path) {
  const auto mount = volume::mountHolding(path, FinalLink::kItself);
  return mount ? volume::name(*mount) : " ";
}

VolumeSize bunGetVolumeSize(const std::string& path) {
  const auto space = volume::space(path, FinalLink::kItself);
  if (!space) return {};
  return {highWord(space->total), lowWord(space->total), highWord(space->available), lowWord(space->available)};
}

std::optional<std::string> QelGetVolumeBSDName(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) {
    std::puts("Can't get the FSRef of the path!");
    return std::nullopt;
  }
  const auto mount = volume::mountHolding(path, FinalLink::kItself);
  if (!mount) {
    std::puts("Can't get the Catalog  of the path!");
    return std::nullopt;
  }
  const std::string node = volume::deviceOf(*mount).node;
  return node.empty() ? "/dev/" : node;
}

std::vector<MountEntry> volumeMounts(std::vector<MountEntry> mounts) {
  dropHidden(mounts);
  std::erase_if(mounts, isForTheSystem);
  std::vector<MountEntry> volumes;
  for (const MountEntry& mount : mounts)
    if (!isSecondView(mounts, mount)) volumes.push_back(mount);
  return volumes;
}

std::vector<Volume> mountedVolumes() {
  std::vector<Volume> volumes;
  std::error_code error;
  for (const MountEntry& mount : volumeMounts(mountTable().value_or(std::vector<MountEntry>())))
    if (std::filesystem::is_directory(mount.mountPoint, error)) volumes.push_back(volumeOfMount(mount));
  return volumes;
}

std::string getHardDiskString() {
  std::string text;
  for (const block_device::Disk& disk : block_device::disks()) text += diskName(disk) + "\n";
  return text;
}

PropertyList::Array getHardDiskDictArray() {
  PropertyList::Array descriptions;
  for (const block_device::Disk& disk : block_device::disks())
    descriptions.push_back(PropertyList::Dictionary{{kDiskNameKey, diskName(disk)}, {kBSDNameKey, disk.node}});
  return descriptions;
}

}  // namespace lumisk
