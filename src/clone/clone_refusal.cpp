#include "clone/clone_refusal.h"

#include <fmt/format.h>

#include <algorithm>

#include "platform/paths.h"

namespace lumisk {
namespace {

using Reason = std::optional<std::string>;

// A folder of a volume that is mounted by itself is no volume; a subvolume is one, for all but erasing.
bool isPartOfVolume(const MountEntry& mount) {
  return mount.root != "/" && mount.fileSystem != "btrfs";
}

bool isOnSameFileSystem(const MountEntry& mount, std::uint64_t blockDevice, const CloneFacts::Volume& target) {
  return mount.device == target.mount->device || (blockDevice != 0 && blockDevice == target.blockDevice);
}

Reason volumeReason(const std::string& what, const std::string& path, const std::optional<MountEntry>& mount) {
  if (!mount) return fmt::format("{} \"{}\" is no mounted volume", what, path);
  if (isPseudoFileSystem(mount->fileSystem)) return fmt::format("{} \"{}\" holds no files on a disk", what, path);
  if (isPartOfVolume(*mount)) return fmt::format("{} \"{}\" is a folder of a volume", what, path);
  return std::nullopt;
}

Reason deviceReason(const CloneOrder& order, const CloneFacts& facts) {
  if (facts.target.blockDevice == 0) return fmt::format("the target \"{}\" lies on no disk", order.targetPath);
  if (facts.orderedDevice != facts.target.blockDevice)
    return fmt::format("the target \"{}\" is not on the device \"{}\"", order.targetPath, order.targetDevice);
  if (facts.target.mount->isReadOnly) return fmt::format("the target \"{}\" is read-only", order.targetPath);
  if (isOnSameFileSystem(*facts.source.mount, facts.source.blockDevice, facts.target))
    return "source and target are the same volume";
  return std::nullopt;
}

Reason useReason(const CloneOrder& order, const CloneFacts& facts) {
  for (const CloneFacts::InUse& use : facts.inUse) {
    MountEntry mount;
    mount.device = use.device;
    if (isOnSameFileSystem(mount, use.blockDevice, facts.target))
      return fmt::format("the target \"{}\" is in use by the running system: {}", order.targetPath, use.what);
  }
  return std::nullopt;
}

Reason mountReason(const CloneOrder& order, const CloneFacts& facts) {
  for (const MountEntry& other : facts.mounts) {
    const std::string& place = facts.target.mount->mountPoint;
    if (other.mountPoint != place && paths::isInside(other.mountPoint, place))
      return fmt::format("the target \"{}\" holds another volume: \"{}\"", order.targetPath, other.mountPoint);
    const bool isSecondMount = other.id != facts.target.mount->id && other.device == facts.target.mount->device;
    if (order.formatVolume && isSecondMount)
      return fmt::format("the target \"{}\" cannot be erased: it is also mounted at \"{}\"", order.targetPath,
                         other.mountPoint);
  }
  if (order.formatVolume && facts.target.mount->root != "/")
    return fmt::format("the target \"{}\" cannot be erased: it is a part of a volume", order.targetPath);
  return std::nullopt;
}

Reason sizeReason(const CloneOrder& order, const CloneFacts& facts) {
  constexpr std::uint64_t kLeast = std::uint64_t{1} << 20;
  const std::uint64_t needed = facts.sourceUsed + facts.sourceUsed / 200 + kLeast;
  if (needed > facts.targetCapacity)
    return fmt::format("the target \"{}\" is too small: {} bytes are needed, it has {}", order.targetPath, needed,
                       facts.targetCapacity);
  if (order.formatVolume && facts.targetDeviceSize < facts.smallestVolume)
    return fmt::format("the target \"{}\" is too small for the source's kind of file system", order.targetPath);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> whyRefused(const CloneOrder& order, const CloneFacts& facts) {
  if (auto reason = volumeReason("the source", order.sourcePath, facts.source.mount)) return reason;
  if (auto reason = volumeReason("the target", order.targetPath, facts.target.mount)) return reason;
  if (auto reason = deviceReason(order, facts)) return reason;
  if (auto reason = useReason(order, facts)) return reason;
  if (auto reason = mountReason(order, facts)) return reason;
  return sizeReason(order, facts);
}

std::uint64_t capacityLike(std::uint64_t deviceSize, std::uint64_t knownDeviceSize, std::uint64_t knownCapacity) {
  if (knownDeviceSize == 0 || knownCapacity > knownDeviceSize) return deviceSize / 16 * 15;
  const double part = static_cast<double>(knownCapacity) / static_cast<double>(knownDeviceSize);
  return static_cast<std::uint64_t>(static_cast<double>(deviceSize) * part);
}

}  // namespace lumisk
