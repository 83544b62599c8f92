#include "helper_service/clone_volumes.h"

#include <algorithm>
#include <cerrno>

#include "platform/paths.h"
#include "platform/system_volumes.h"
#include "platform/untrusted_file.h"
#include "platform/volume.h"

namespace lumisk {
namespace {

// What is mounted there belongs to the machine, also where it is no part of the running system's own volumes.
bool isSystemPlace(const std::string& mountPoint) {
  static constexpr const char* kPlaces[] = {"/bin", "/boot", "/dev",  "/efi",  "/etc", "/lib", "/lib64",
                                            "/opt", "/proc", "/root", "/sbin", "/sys", "/usr", "/var"};
  return std::any_of(std::begin(kPlaces), std::end(kPlaces),
                     [&](const char* place) { return paths::isInside(mountPoint, place); });
}

tl::unexpected<Error> refuse(const MountedDevice& volume, int code, const char* why) {
  return fail("clone onto", volume.mount.mountPoint, code, why);
}

MountedDevice deviceOf(MountEntry mount) {
  volume::Device device = volume::deviceOf(mount);
  return {std::move(mount), device.number, std::move(device.node)};
}

bool isElsewhere(const MountedDevice& one, const MountedDevice& target) {
  return one.device == target.device && one.mount.id != target.mount.id;
}

bool isBelow(const MountedDevice& one, const MountedDevice& target) {
  return one.mount.id != target.mount.id && paths::isInside(one.mount.mountPoint, target.mount.mountPoint);
}

// The volume that is mounted right at the path. Asked through a descriptor, so that what was looked at on the way is
// what is meant.
Result<MountedDevice> volumeAt(const std::string& path, Way way) {
  LUMISK_TRY(const Descriptor folder, openFolderWithoutLinks(path, way));
  LUMISK_TRY(MountEntry mount, volume::mountHolding("/proc/self/fd/" + std::to_string(folder.get())));
  if (mount.mountPoint != path) return fail("use the volume", path, EINVAL, "no volume is mounted there");
  return deviceOf(std::move(mount));
}

Result<std::vector<MountedDevice>> allMounts() {
  LUMISK_TRY(auto mounts, mountTable());
  std::vector<MountedDevice> all;
  for (MountEntry& mount : mounts) all.push_back(deviceOf(std::move(mount)));
  return all;
}

}  // namespace

Result<void> checkCloneVolumes(const VolumeFacts& facts) {
  const auto& [source, target] = facts.volumes;
  const auto anyMount = [&, &wanted = target](auto holds) {
    return std::any_of(facts.mounts.begin(), facts.mounts.end(),
                       [&](const MountedDevice& one) { return holds(one, wanted); });
  };
  const auto& system = facts.systemDevices;
  if (isPseudoFileSystem(source.mount.fileSystem)) return fail("clone", source.mount.mountPoint, ENOTSUP);
  if (target.node.empty()) return refuse(target, ENOTBLK, "it lies on no device");
  if (target.mount.root != "/") return refuse(target, EINVAL, "only a part of the volume is mounted there");
  if (target.device != facts.namedDevice) return refuse(target, ENODEV, "another device is mounted there");
  if (target.device == source.device) return refuse(target, EINVAL, "source and target are the same volume");
  if (std::find(system.begin(), system.end(), target.device) != system.end())
    return refuse(target, EPERM, "the running system lives on it");
  if (isSystemPlace(target.mount.mountPoint)) return refuse(target, EPERM, "it is mounted into the running system");
  if (anyMount(isBelow)) return refuse(target, EBUSY, "other volumes are mounted below it");
  if (anyMount(isElsewhere)) return refuse(target, EBUSY, "it is mounted at another place, too");
  if (target.mount.isReadOnly) return refuse(target, EROFS, "it is mounted read-only");
  return {};
}

Result<CloneVolumes> findCloneVolumes(const CloneOrder& order, const std::vector<std::string>& alsoInUse) {
  VolumeFacts facts;
  LUMISK_TRY(facts.volumes.source, volumeAt(order.sourcePath, Way::kAny));
  LUMISK_TRY(facts.volumes.target, volumeAt(order.targetPath, Way::kOnlyRoots));
  LUMISK_TRY(facts.namedDevice, blockDeviceNamed(order.targetDevice));
  LUMISK_TRY(facts.mounts, allMounts());
  LUMISK_TRY(facts.systemDevices, devicesOfRunningSystem(alsoInUse));
  LUMISK_CHECK(checkCloneVolumes(facts));
  return std::move(facts.volumes);
}

}  // namespace lumisk
