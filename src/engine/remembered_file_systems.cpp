#include "engine/remembered_file_systems.h"

#include <algorithm>

#include "platform/file_calls.h"
#include "platform/mount_table.h"
#include "platform/paths.h"
#include "platform/trash_finder.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

constexpr const char* kPlaceKey = "path";
constexpr const char* kMountPointKey = "mountPoint";
constexpr const char* kUuidKey = "uuid";
constexpr const char* kTypeKey = "type";
constexpr const char* kSourceKey = "source";

const RememberedFileSystem* find(const RememberedFileSystems& fileSystems, const std::string& place) {
  const auto found = std::find_if(fileSystems.begin(), fileSystems.end(),
                                  [&](const RememberedFileSystem& one) { return one.place == place; });
  return found == fileSystems.end() ? nullptr : &*found;
}

bool isBelow(std::string_view place, std::string_view source) {
  return paths::isInside(place, source) && !paths::isInside(source, place);
}

// Those that come and go with programs, and hold nothing that a backup would miss.
bool isPassing(const std::string& fileSystem) {
  return isPseudoFileSystem(fileSystem) || fileSystem == "tmpfs" || fileSystem == "overlay" ||
         fileSystem == "squashfs" || fileSystem == "fuse.portal" || fileSystem == "fuse.gvfsd-fuse";
}

// As the mount table spells it: the way to a source may go through links.
std::string realPathOf(const std::string& source) {
  const auto folder = realFileCalls().openRoot(source);
  const std::string path = folder ? pathOfOpenFolder(folder->get()) : std::string();
  return path.empty() ? source : path;
}

}  // namespace

RememberedFileSystems fileSystemsFromList(const PropertyList& list) {
  RememberedFileSystems fileSystems;
  for (const PropertyList& one : list.array()) {
    if (one[kPlaceKey].text().empty()) continue;
    fileSystems.push_back({one[kPlaceKey].text(), one[kMountPointKey].text(), one[kUuidKey].text(),
                           one[kTypeKey].text(), one[kSourceKey].text()});
  }
  return fileSystems;
}

PropertyList fileSystemsToList(const RememberedFileSystems& fileSystems) {
  PropertyList::Array list;
  for (const RememberedFileSystem& one : fileSystems) {
    list.emplace_back(PropertyList::Dictionary{{kPlaceKey, one.place},
                                               {kMountPointKey, one.mountPoint},
                                               {kUuidKey, one.uuid},
                                               {kTypeKey, one.type},
                                               {kSourceKey, one.source}});
  }
  return list;
}

// The mount point besides: the parts of one file system that are mounted apart all have its uuid.
bool isSameFileSystem(const RememberedFileSystem& then, const RememberedFileSystem& now) {
  if (then.mountPoint != now.mountPoint) return false;
  if (!then.uuid.empty() && !now.uuid.empty()) return then.uuid == now.uuid;
  return then.type == now.type && then.source == now.source;
}

RootVerdict checkRoot(const RememberedFileSystems& then, const RememberedFileSystem& now) {
  const RememberedFileSystem* const known = find(then, now.place);
  if (!known) return RootVerdict::kUnknown;
  return isSameFileSystem(*known, now) ? RootVerdict::kSame : RootVerdict::kAnother;
}

RememberedFileSystems goneMounts(const RememberedFileSystems& then, std::string_view source,
                                 const RememberedFileSystems& now) {
  RememberedFileSystems gone;
  for (const RememberedFileSystem& mount : then) {
    if (mount.place != mount.mountPoint || !isBelow(mount.place, source)) continue;
    const RememberedFileSystem* const present = find(now, mount.place);
    if (!present || !isSameFileSystem(mount, *present)) gone.push_back(mount);
  }
  return gone;
}

Result<RememberedFileSystem> fileSystemNow(const std::string& place) {
  LUMISK_TRY(const FileSystemInfo info, workspace::fileSystemInfo(place));
  return RememberedFileSystem{place, info.mountPoint, info.uuid, info.type, info.source};
}

Result<RememberedFileSystems> mountsBelow(const std::string& source) {
  RememberedFileSystems found;
  const std::string real = realPathOf(source);
  LUMISK_TRY(const auto mounts, mountTable());
  for (const MountEntry& mount : mounts) {
    if (isPassing(mount.fileSystem) || !isBelow(mount.mountPoint, real)) continue;
    const std::string place = paths::join(source, std::string_view(mount.mountPoint).substr(real.size()));
    if (find(found, place)) continue;
    if (auto now = fileSystemNow(mount.mountPoint)) {
      now->place = now->mountPoint = place;
      found.push_back(std::move(*now));
    }
  }
  return found;
}

}  // namespace lumisk
