#include "engine/walk_borders.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "platform/mount_table.h"
#include "platform/trash.h"
#include "platform/trash_finder.h"

namespace lumisk {
namespace {

std::set<std::uint64_t> devicesOfPseudoFileSystems() {
  std::set<std::uint64_t> devices;
  const auto mounts = mountTable();
  if (!mounts) return devices;
  for (const MountEntry& mount : *mounts)
    if (isPseudoFileSystem(mount.fileSystem)) devices.insert(mount.device);
  return devices;
}

}  // namespace

const char* whyNotCopied(const std::string& name) {
  if (isSkippedName(name)) return "never copied";
  if (isTemporaryName(name)) return "unfinished copy";
  return nullptr;
}

const char* whyNotWalked(const std::string& name) {
  return name == "lost+found" || Trash::isTrashName(name) ? "trash" : nullptr;
}

const char* WalkBorders::whyNotWalked(const FileStatus& folder, const std::string& name,
                                      const std::optional<FileIdentity>& parent) {
  if (destinations_.count(folder.identity) != 0) return "a target of this job";
  if (parent && isHomeTrash(folder.identity, name)) return "trash";
  const bool isSameFileSystem = parent && parent->device == folder.identity.device;
  if (!isSameFileSystem && isPseudo(folder.identity.device)) return "a file system without files";
  return nullptr;
}

// While there is none it is looked for again at each folder with its own name: the run itself may make it, or another
// program. No link leads there then.
bool WalkBorders::isHomeTrash(const FileIdentity& folder, const std::string& name) {
  if (!homeTrash_ && (!hasNoHomeTrash_ || name == kHomeTrashName)) {
    const auto found = homeTrashIdentity(files_);
    if (found) homeTrash_ = *found;
    hasNoHomeTrash_ = !found && found.error().code == ENOENT;
  }
  return homeTrash_ == folder;
}

bool WalkBorders::isPseudo(std::uint64_t device) {
  if (!pseudoDevices_) pseudoDevices_ = devicesOfPseudoFileSystems();
  return pseudoDevices_->count(device) != 0;
}

}  // namespace lumisk
