#include "devices/image_mounter.h"

#include <cerrno>

#include "devices/image_commands.h"
#include "devices/image_folder.h"
#include "devices/image_tools.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace lumisk {

Result<void> RootImageMounter::isReady() {
  if (!process::isRoot()) return fail("mount an image", {}, EPERM, "mounting needs root");
  return {};
}

Result<std::string> RootImageMounter::mount(const std::string& blocksPath, const std::string& name) {
  const std::string mountPoint = paths::join(volumesFolder_, name);
  LUMISK_CHECK(image_folder::makeMountPoint(files_, mountPoint));
  const auto mounted =
      image_tools::runToSuccess("mount the image", blocksPath, image_commands::mountBlocks(blocksPath, mountPoint));
  if (mounted) return mountPoint;
  image_folder::removeMountPoint(files_, mountPoint);
  return fail(mounted.error());
}

Result<void> RootImageMounter::unmount(const std::string& mountPoint, How how) {
  std::vector<std::string> command{"umount", mountPoint};
  if (how == How::kAtOnce) command.insert(command.begin() + 1, "--lazy");
  LUMISK_TRY(const ChildResult result, image_tools::run(command));
  if (result.status != 0) return fail("unmount", mountPoint, EBUSY, image_tools::firstLine(result, "umount"));
  image_folder::removeMountPoint(files_, mountPoint);
  return {};
}

Result<void> RootImageMounter::removeDeadBlocks(const std::string& blocksPath) {
  return image_tools::runToSuccess("close the image", blocksPath, {"umount", "--lazy", blocksPath});
}

}  // namespace lumisk
