#include "platform/volume.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>

#include "platform/block_device.h"
#include "platform/descriptor.h"
#include "platform/paths.h"

namespace lumisk::volume {
namespace {

constexpr const char* kFind = "find the file system of";

bool isBlockDevice(const std::string& node, std::uint64_t& number) {
  struct stat status;
  if (::stat(node.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) return false;
  number = status.st_rdev;
  return true;
}

Result<struct statx> placeOf(const std::string& path, FinalLink link) {
  struct statx status;
  // Asked for nothing and from memory, the file systems that users serve themselves neither refuse nor delay root.
  const int flags = AT_STATX_DONT_SYNC | (link == FinalLink::kItself ? AT_SYMLINK_NOFOLLOW : 0);
  if (::statx(AT_FDCWD, path.c_str(), flags, 0, &status) != 0) return fail(kFind, path, errno);
  return status;
}

}  // namespace

Result<std::uint64_t> mountNumberOf(const std::string& path, FinalLink link) {
  LUMISK_TRY(const struct statx status, placeOf(path, link));
  if ((status.stx_mask & STATX_MNT_ID) == 0) return fail(kFind, path, ENOSYS);
  return status.stx_mnt_id;
}

Result<MountEntry> mountHolding(const std::string& path, FinalLink link) {
  LUMISK_TRY(const struct statx status, placeOf(path, link));
  LUMISK_TRY(auto mounts, mountTable());
  const std::uint64_t device = makedev(status.stx_dev_major, status.stx_dev_minor);
  const bool knowsMount = (status.stx_mask & STATX_MNT_ID) != 0;
  // The last that fits: a later mount hides an earlier one.
  const auto found = std::find_if(mounts.rbegin(), mounts.rend(), [&](const MountEntry& one) {
    return knowsMount ? one.id == status.stx_mnt_id : one.device == device;
  });
  if (found == mounts.rend()) return fail(kFind, path, ENODEV);
  return std::move(*found);
}

Device deviceOf(const MountEntry& mount) {
  Device device{mount.device, {}};
  const bool isUsersOwn = mount.fileSystem == "fuse" || mount.fileSystem.starts_with("fuse.");
  if (isUsersOwn || mount.source.rfind("/dev/", 0) != 0) return device;
  // A kernel that mounted its root by itself calls it "/dev/root", which is no file.
  device.node =
      isBlockDevice(mount.source, device.number) ? mount.source : block_device::nodeOf(device.number).value_or("");
  return device;
}

std::optional<std::uint64_t> blockDeviceNumber(const std::string& nameOrNode) {
  const bool isPath = nameOrNode.rfind('/', 0) == 0;
  std::uint64_t number = 0;
  if (nameOrNode.empty() || !isBlockDevice(isPath ? nameOrNode : "/dev/" + nameOrNode, number)) return std::nullopt;
  return number;
}

std::string name(const MountEntry& mount) {
  const Device device = deviceOf(mount);
  std::string label = block_device::label(device.number, device.node);
  if (!label.empty()) return label;
  return mount.mountPoint == "/" ? "Root" : paths::lastComponent(mount.mountPoint);
}

std::string fileSystemOf(const MountEntry& mount) {
  if (mount.fileSystem != "fuseblk") return mount.fileSystem;
  const Device device = deviceOf(mount);
  const std::string type = block_device::type(device.number, device.node);
  return type.empty() ? mount.fileSystem : type;
}

Result<SpaceStatus> space(const std::string& path, FinalLink link) {
  const Descriptor entry(::open(path.c_str(), O_PATH | O_CLOEXEC | (link == FinalLink::kItself ? O_NOFOLLOW : 0)));
  struct statvfs raw;
  if (!entry.isOpen() || ::fstatvfs(entry.get(), &raw) != 0) return fail("ask for the free space of", path, errno);
  return SpaceStatus{raw.f_blocks * raw.f_frsize, raw.f_bavail * raw.f_frsize, raw.f_bfree * raw.f_frsize};
}

}  // namespace lumisk::volume
