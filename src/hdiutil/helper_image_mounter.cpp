#include "helper_image_mounter.h"

#include <cerrno>

#include "devices/image_tools.h"

namespace lumisk {

Result<void> HelperImageMounter::isReady() {
  const auto answer = ask("mount an image", {}, {{kRequestCommandKey, kGetVersionCommand}});
  if (answer) return {};
  return fail("mount an image", {}, EPERM, "that needs root, or the root helper, which does not answer");
}

Result<PropertyList::Dictionary> HelperImageMounter::ask(const char* operation, const std::string& place,
                                                         const PropertyList::Dictionary& request) {
  HelperAnswer answer;
  OSStatus status = BASExecuteRequestInHelperTool(authorization_, lumiskCommands(), kBundleIdentifier, request, answer);
  if (status == kNoError) status = BASGetErrorFromResponse(answer.dictionary);
  if (status == kNoError) return std::move(answer.dictionary);
  if (status == kAuthorizationDenied) return fail(operation, place, EPERM, "the root helper may not do this for you");
  return fail(operation, place, BASOSStatusToErrno(status));
}

Result<std::string> HelperImageMounter::mount(const std::string& blocksPath, const std::string& name) {
  LUMISK_TRY(const auto answer,
             ask("mount the image", blocksPath,
                 {{kRequestCommandKey, kMountImageCommand}, {kBlocksPathKey, blocksPath}, {kVolumeNameKey, name}}));
  const auto place = answer.find(kMountPointKey);
  if (place == answer.end()) return fail("mount the image", blocksPath, EPROTO);
  return place->second.text();
}

Result<void> HelperImageMounter::unmount(const std::string& mountPoint, How how) {
  LUMISK_TRY(const auto answer, ask("unmount", mountPoint,
                                    {{kRequestCommandKey, kUnmountImageCommand},
                                     {kMountPointKey, mountPoint},
                                     {kAtOnceKey, how == How::kAtOnce}}));
  return {};
}

Result<void> HelperImageMounter::removeDeadBlocks(const std::string& blocksPath) {
  return image_tools::runToSuccess("close the image", blocksPath, {"fusermount3", "-u", "-z", blocksPath});
}

}  // namespace lumisk
