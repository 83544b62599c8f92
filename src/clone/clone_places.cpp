#include "clone/clone_places.h"

#include <fmt/format.h>

#include <cerrno>

#include "platform/paths.h"
#include "platform/process.h"
#include "platform/volume.h"
#include "platform/volume_changes.h"

namespace lumisk {
namespace {

// Of a file system on a disk; the mount's own number stands for none on btrfs.
std::uint64_t blockDeviceOf(const MountEntry& mount) {
  const volume::Device device = volume::deviceOf(mount);
  return volume::blockDeviceNumber(device.node).value_or(0);
}

// The mount of the folder that is open, and not of what its path leads to by now.
Result<CloneFacts::Volume> volumeOf(FileCalls& files, const ClonedVolume& opened, const std::string& path) {
  CloneFacts::Volume found;
  LUMISK_TRY(const FileStatus status, files.statusOf(opened.root.get()));
  LUMISK_TRY(MountEntry mount, volume::mountHolding(fmt::format("/proc/self/fd/{}", opened.root.get())));
  if (!status.isMountRoot || mount.mountPoint != paths::normalised(path, "/")) return found;
  found.blockDevice = blockDeviceOf(mount);
  found.mount = std::move(mount);
  return found;
}

Result<ClonedVolume> openVolume(FileCalls& files, const std::string& path) {
  ClonedVolume volume;
  LUMISK_TRY(volume.root, files.openRoot(path));
  LUMISK_TRY(const FileStatus status, files.statusOf(volume.root.get()));
  volume.device = status.identity.device;
  return volume;
}

void addUse(CloneFacts& facts, const std::string& path, const std::string& what) {
  const auto mount = volume::mountHolding(path);
  if (mount) facts.inUse.push_back({what, mount->device, blockDeviceOf(*mount)});
}

void findUses(CloneFacts& facts) {
  for (const char* path : {"/", "/usr", "/etc", "/boot", "/boot/efi", "/var", "/home", "/root", "/opt", "/srv", "/tmp"})
    addUse(facts, path, path);
  addUse(facts, process::programPath(), "the running program");
  for (const std::string& path : volume::filesUsedByKernel()) addUse(facts, path, path);
}

std::uint64_t sizeOf(const MountEntry& mount) {
  const auto size = volume::deviceSize(deviceNodeOf(mount));
  return size ? *size : 0;
}

// mkfs.xfs(8) and mkfs.btrfs(8) refuse anything smaller.
std::uint64_t smallestVolumeOf(const std::string& fileSystem) {
  if (fileSystem == "xfs") return std::uint64_t{300} << 20;
  if (fileSystem == "btrfs") return std::uint64_t{109} << 20;
  return 0;
}

Result<void> findSizes(CloneState& state, CloneFacts& facts) {
  LUMISK_TRY(const SpaceStatus source, state.files.spaceOf(state.source.root.get()));
  LUMISK_TRY(const SpaceStatus target, state.files.spaceOf(state.target.root.get()));
  facts.sourceUsed = source.total - source.free;
  facts.targetDeviceSize = sizeOf(*facts.target.mount);
  const std::string made = fileSystemToMake(facts.source.mount->fileSystem);
  facts.smallestVolume = smallestVolumeOf(made);
  if (!state.order.formatVolume || made == facts.target.mount->fileSystem) {
    facts.targetCapacity = target.total;
  } else if (made == facts.source.mount->fileSystem) {
    facts.targetCapacity = capacityLike(facts.targetDeviceSize, sizeOf(*facts.source.mount), source.total);
  } else {
    facts.targetCapacity = capacityLike(facts.targetDeviceSize, 0, 0);
  }
  return {};
}

}  // namespace

std::string fileSystemToMake(const std::string& sourceFileSystem) {
  return volume::canMakeFileSystem(sourceFileSystem) ? sourceFileSystem : "ext4";
}

std::string deviceNodeOf(const MountEntry& mount) {
  return volume::deviceOf(mount).node;
}

Result<CloneFacts> openVolumes(CloneState& state) {
  CloneFacts facts;
  LUMISK_TRY(state.source, openVolume(state.files, state.order.sourcePath));
  LUMISK_TRY(state.target, openVolume(state.files, state.order.targetPath));
  LUMISK_TRY(facts.source, volumeOf(state.files, state.source, state.order.sourcePath));
  LUMISK_TRY(facts.target, volumeOf(state.files, state.target, state.order.targetPath));
  LUMISK_TRY(facts.mounts, mountTable());
  if (facts.source.mount && facts.source.blockDevice != 0) state.sourceNode = deviceNodeOf(*facts.source.mount);
  facts.orderedDevice = volume::blockDeviceNumber(state.order.targetDevice);
  findUses(facts);
  if (facts.source.mount && facts.target.mount) LUMISK_CHECK(findSizes(state, facts));
  return facts;
}

Result<ClonedVolume> openTargetAgain(CloneState& state, std::uint64_t blockDevice) {
  const std::string& path = state.order.targetPath;
  LUMISK_TRY(ClonedVolume opened, openVolume(state.files, path));
  LUMISK_TRY(const CloneFacts::Volume found, volumeOf(state.files, opened, path));
  if (!found.mount || found.blockDevice != blockDevice) return fail("open", path, ESTALE);
  return opened;
}

}  // namespace lumisk
