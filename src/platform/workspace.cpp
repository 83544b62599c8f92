#include "platform/workspace.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "platform/block_device.h"
#include "platform/home_folder.h"
#include "platform/paths.h"
#include "platform/volume.h"

namespace lumisk::workspace {
namespace {

std::string withoutSlashes(std::string name) {
  std::replace(name.begin(), name.end(), '/', '-');
  return name;
}

// The last mount that fits: a later one hides an earlier one.
template <class Fits>
const MountEntry* lastMount(const std::vector<MountEntry>& mounts, Fits fits) {
  const auto found = std::find_if(mounts.rbegin(), mounts.rend(), fits);
  return found == mounts.rend() ? nullptr : &*found;
}

// Whether the path is `place` or lies below it.
bool isBelow(const std::string& path, const std::string& place) {
  return path != place && paths::isInside(path, place);
}

constexpr const char* kVolumes = "/Volumes";
constexpr const char* kMnt = "/mnt";
constexpr std::array<const char*, 3> kPlaces = {"/media", "/run/media", kMnt};

}  // namespace

Result<FileSystemInfo> fileSystemInfo(const std::string& path) {
  LUMISK_TRY(const auto mount, volume::mountHolding(path));
  const volume::Device device = volume::deviceOf(mount);
  const auto facts = block_device::facts(device.number);
  FileSystemInfo info;
  info.isRemovable = facts.isRemovable;
  info.isWritable = !mount.isReadOnly;
  info.isUnmountable = facts.isRemovable || isNetworkFileSystem(mount.fileSystem);
  info.description = facts.description;
  info.type = mount.fileSystem;
  info.mountPoint = mount.mountPoint;
  info.source = mount.source;
  info.uuid = block_device::uuid(device.number, device.node);
  return info;
}

bool isPackageName(const std::string& name) {
  static constexpr std::string_view kExtensions[] = {
      "app",          "aplibrary",     "band",         "bundle",        "component",  "download",     "dvdmedia",
      "fcpbundle",    "framework",     "graffle",      "imovielibrary", "kext",       "key",          "logicx",
      "mdimporter",   "mpkg",          "musiclibrary", "nib",           "numbers",    "oo3",          "pages",
      "photolibrary", "photoslibrary", "pkg",          "playground",    "plugin",     "prefpane",     "pvm",
      "qlgenerator",  "rtfd",          "saver",        "scptd",         "screenflow", "sparsebundle", "theater",
      "tvlibrary",    "utm",           "vmwarevm",     "wdgt",          "xcodeproj",  "xcworkspace",  "xpc"};
  std::string extension = paths::extension(name);
  const auto lower = [](char byte) { return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte; };
  std::transform(extension.begin(), extension.end(), extension.begin(), lower);
  return std::find(std::begin(kExtensions), std::end(kExtensions), extension) != std::end(kExtensions);
}

std::string computerName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return "localhost";
  return withoutSlashes(name.data());
}

std::string rootDisplayName() {
  const auto mount = volume::mountHolding("/");
  return mount ? withoutSlashes(volume::name(*mount)) : "Root";
}

std::optional<std::string> volumeOf(const std::string& path, const std::vector<MountEntry>& mounts) {
  const std::string whole = paths::normalised(path, "/");
  if (isBelow(whole, kVolumes)) return paths::join(kVolumes, paths::components(whole)[1]);
  const MountEntry* deepest = nullptr;
  for (const MountEntry& mount : mounts)
    if (paths::isInside(whole, mount.mountPoint) &&
        (deepest == nullptr || mount.mountPoint.size() > deepest->mountPoint.size()))
      deepest = &mount;
  if (deepest == nullptr) return std::nullopt;
  const auto holds = [&](const char* place) { return isBelow(deepest->mountPoint, place); };
  const bool isVolume = deepest->mountPoint == kMnt || std::any_of(kPlaces.begin(), kPlaces.end(), holds);
  return isVolume ? std::optional(deepest->mountPoint) : std::nullopt;
}

std::optional<std::string> volumeOf(const std::string& path) {
  return volumeOf(path, mountTable().value_or(std::vector<MountEntry>()));
}

bool isVolumesFolder(const std::string& path, const std::vector<MountEntry>& mounts, const std::string& user) {
  const std::string whole = paths::normalised(path, "/");
  const bool isPlace = whole == kVolumes || whole == "/media/" + user || whole == "/run/media/" + user ||
                       std::find(kPlaces.begin(), kPlaces.end(), whole) != kPlaces.end();
  return isPlace && lastMount(mounts, [&](const MountEntry& one) { return one.mountPoint == whole; }) == nullptr;
}

bool isVolumesFolder(const std::string& path) {
  return isVolumesFolder(path, mountTable().value_or(std::vector<MountEntry>()), userName());
}

}  // namespace lumisk::workspace
