#include "helper_service/image_mounts.h"

#include <fmt/format.h>

#include <cerrno>

#include "devices/disk_images.h"
#include "devices/image_folder.h"
#include "platform/file_calls.h"
#include "platform/paths.h"
#include "platform/untrusted_file.h"

namespace lumisk {
namespace {

constexpr std::size_t kLargestRecord = 65536;
constexpr const char* kUserKey = "user";
constexpr const char* kMountPointKey = "mount-point";
constexpr const char* kMountKey = "mount";
constexpr const char* kFolderStoodKey = "folder-stood";  // before the mount, so it stays after it; else not there

std::string recordName(const MountEntry& mount) {
  return fmt::format("image-{:x}.plist", mount.device);
}

PropertyList::Dictionary recordOf(const MountEntry& mount, const JobOwner& owner, bool folderStood) {
  PropertyList::Dictionary record{
      {kUserKey, std::uint64_t{owner.user}}, {kMountPointKey, mount.mountPoint}, {kMountKey, mount.id}};
  if (folderStood) record[kFolderStoodKey] = true;
  return record;
}

// A folder that others may enter, whatever the process's umask. Whether it stood before.
Result<bool> makeOpenFolder(const std::string& path) {
  FileCalls& files = realFileCalls();
  LUMISK_TRY(const Descriptor parent, files.openRoot(paths::parent(path)));
  const auto made = files.makeFolder(parent.get(), paths::lastComponent(path), 0755);
  if (!made && made.error().code == EEXIST) return true;
  LUMISK_CHECK(made);
  LUMISK_TRY(const Descriptor folder, files.openFolder(parent.get(), paths::lastComponent(path)));
  LUMISK_CHECK(files.setMode(folder.get(), 0755));
  return false;
}

// The empty folder where it will be mounted, locked so that no other request takes the same place meanwhile.
Result<Descriptor> takePlace(const std::string& volumesFolder, const std::string& place, bool& stood) {
  LUMISK_CHECK(makeOpenFolder(volumesFolder));
  LUMISK_TRY(stood, makeOpenFolder(place));
  LUMISK_TRY(const Descriptor way, openFolderWithoutLinks(place, Way::kOnlyRoots));
  LUMISK_TRY(Descriptor folder, realFileCalls().openRoot(place));
  if (!realFileCalls().lockExclusively(folder.get())) return fail("mount at", place, EBUSY);
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(realFileCalls().listFolder(folder.get(), entries));
  if (!entries.empty() || image_folder::mountAt(place))
    return fail("mount at", place, EBUSY, "something else is there");
  return folder;
}

}  // namespace

Result<Descriptor> ImageMounts::records() const {
  FileCalls& files = realFileCalls();
  LUMISK_TRY(const Descriptor parent, files.openRoot(paths::parent(recordsFolder_)));
  const auto made = files.makeFolder(parent.get(), paths::lastComponent(recordsFolder_), 0700);
  if (!made && made.error().code != EEXIST) return fail(made.error());
  return openFolderWithoutLinks(recordsFolder_);
}

Result<void> ImageMounts::note(const std::string& mountPoint, const JobOwner& owner, bool folderStood) const {
  const auto mount = image_folder::mountAt(mountPoint);
  if (!mount) return fail("find what was mounted at", mountPoint, ENOENT);
  LUMISK_TRY(const Descriptor folder, records());
  LUMISK_TRY(const std::string xml, propertyListToXml(recordOf(*mount, owner, folderStood)));
  return replaceEntry(folder.get(), recordName(*mount), xml, Sync::kNo);
}

Result<std::string> ImageMounts::mount(const std::string& blocksPath, const std::string& name,
                                       const JobOwner& owner) const {
  if (const auto why = volumeNameProblem(name); !why.empty()) return fail("name a volume", name, EINVAL, why);
  if (!isPlainPath(blocksPath)) return fail("mount", blocksPath, EINVAL);
  LUMISK_TRY(const LoopDevice loop, showAsBlocks(blocksPath, owner.user, owner.group));
  const std::string place = paths::join(volumesFolder_, name);
  bool folderStood = false;
  LUMISK_TRY(const Descriptor lock, takePlace(volumesFolder_, place, folderStood));
  auto mounted = mountUsersVolume(loop.node, place);
  if (mounted) {
    mounted = note(place, owner, folderStood);
    if (!mounted) (void)unmountUsersVolume(place, Detach::kAtOnce);
  }
  if (mounted) return place;
  if (!folderStood) image_folder::removeMountPoint(realFileCalls(), place);
  return fail(mounted.error());
}

Result<void> ImageMounts::unmount(const std::string& mountPoint, Detach detach, const JobOwner& owner) const {
  const auto mount = image_folder::mountAt(mountPoint);
  if (!mount) return fail("unmount", mountPoint, ENOENT);
  LUMISK_TRY(const Descriptor folder, records());
  const auto bytes = readPrivateFile(folder.get(), recordName(*mount), {0, kLargestRecord});
  if (!bytes) return fail("unmount", mountPoint, EPERM, "it was not mounted here");
  LUMISK_TRY(const PropertyList record, parsePropertyList(*bytes));
  const JobOwner asked{owner.user == 0 ? static_cast<std::uint32_t>(record[kUserKey].unsignedInteger()) : owner.user};
  const bool folderStood = record[kFolderStoodKey].boolean();
  if (record != PropertyList(recordOf(*mount, asked, folderStood)))
    return fail("unmount", mountPoint, EPERM, "it belongs to somebody else");
  LUMISK_CHECK(unmountUsersVolume(mountPoint, detach));
  if (!folderStood) image_folder::removeMountPoint(realFileCalls(), mountPoint);
  return removeEntry(folder.get(), recordName(*mount));
}

}  // namespace lumisk
