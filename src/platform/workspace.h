#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/mount_table.h"
#include "platform/result.h"

namespace lumisk {

struct FileSystemInfo {
  bool isRemovable = false;
  bool isWritable = false;
  bool isUnmountable = false;  // removable or on the network; a fixed disk's mount point is not
  std::string description;     // of the device, may be empty
  std::string type;            // "ext4", "vfat", "nfs4"
  std::string mountPoint;
  std::string source;  // device or server path
  std::string uuid;    // of the file system, empty where the system does not tell it
};

// What the desktop's workspace knows of paths, packages and names. Stateless; any thread may call.
namespace workspace {

// The file system that holds the path. A path that does not exist is an error.
Result<FileSystemInfo> fileSystemInfo(const std::string& path);

// A folder that users see as one document (a bundle), by its name's extension: ".app", ".rtfd", ".photoslibrary", ...
// Only the name is looked at; the caller knows that it is a folder.
[[nodiscard]] bool isPackageName(const std::string& name);

// The computer's name as the system reports it, and the display name of "/" (its volume's label, "Root" without one),
// both with "/" replaced by "-".
[[nodiscard]] std::string computerName();
[[nodiscard]] std::string rootDisplayName();

// The mount point of the volume on which the path lies (an absolute path that need not exist), when that is one of the
// places where volumes appear: below "/Volumes", "/media/<user>", "/media", "/run/media/<user>", "/mnt", by whole
// components, or "/mnt" itself. Nothing when the path lies on the start-up volume. Everywhere but in "/Volumes", where
// the first name always counts, the mount table must know the mount point.
[[nodiscard]] std::optional<std::string> volumeOf(const std::string& path);
[[nodiscard]] std::optional<std::string> volumeOf(const std::string& path, const std::vector<MountEntry>& mounts);
// Whether the folder is one of those places itself and no volume is mounted right there: nothing is ever created
// directly inside it.
[[nodiscard]] bool isVolumesFolder(const std::string& path);
[[nodiscard]] bool isVolumesFolder(const std::string& path, const std::vector<MountEntry>& mounts,
                                   const std::string& user);

}  // namespace workspace
}  // namespace lumisk
