#include "platform/unmount.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/child_process.h"
#include "platform/descriptor.h"
#include "platform/mount_table.h"
#include "platform/paths.h"
#include "platform/volume.h"

namespace lumisk {
namespace {

constexpr const char* kUnmount = "unmount";
constexpr std::chrono::minutes kLimit{2};

Result<MountEntry> mountAt(const std::string& path) {
  LUMISK_TRY(auto mounts, mountTable());
  const std::string place = paths::normalised(path, "/");
  const auto found =
      std::find_if(mounts.rbegin(), mounts.rend(), [&](const MountEntry& mount) { return mount.mountPoint == place; });
  if (place == "/" || found == mounts.rend()) return fail(kUnmount, path, EINVAL);
  return std::move(*found);
}

// Errors of writing that nobody has seen yet come up here.
Result<void> bringToDisk(const std::string& path) {
  const Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen() || ::syncfs(folder.get()) != 0) return fail("bring to the disk", path, errno);
  return {};
}

// The service answers "Error unmounting /dev/sdb1: GDBus.Error:...DeviceBusy: ... target is busy".
Result<void> unmountByService(const MountEntry& mount) {
  const std::string node = volume::deviceOf(mount).node;
  if (node.empty()) return fail(kUnmount, mount.mountPoint, EPERM);
  ChildRequest request;
  request.arguments = {"udisksctl", "unmount", "--no-user-interaction", "-b", node};
  request.limit = kLimit;
  const auto child = runChild(request);
  if (!child) return fail(kUnmount, mount.mountPoint, child.error().code == ENOENT ? EPERM : child.error().code);
  if (child->status == 0) return {};
  const bool isBusy = child->errors.find("DeviceBusy") != std::string::npos;
  if (isBusy) return fail(kUnmount, mount.mountPoint, EBUSY);
  return fail(kUnmount, mount.mountPoint, 0, child->errors.substr(0, child->errors.find('\n')));
}

}  // namespace

Result<void> unmountVolume(const std::string& path) {
  LUMISK_TRY(const MountEntry mount, mountAt(path));
  LUMISK_CHECK(bringToDisk(mount.mountPoint));
  if (::umount2(mount.mountPoint.c_str(), UMOUNT_NOFOLLOW) == 0) return {};
  if (errno != EPERM) return fail(kUnmount, mount.mountPoint, errno);
  return unmountByService(mount);
}

}  // namespace lumisk
