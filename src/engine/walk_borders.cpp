#include "engine/walk_borders.h"

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

const char* WalkBorders::whyNotWalked(const FileStatus& folder, const std::optional<FileIdentity>& parent) {
  if (destinations_.count(folder.identity) != 0) return "a target of this job";
  if (parent && isHomeTrash(folder.identity)) return "trash";
  const bool isSameFileSystem = parent && parent->device == folder.identity.device;
  if (!isSameFileSystem && isPseudo(folder.identity.device)) return "a file system without files";
  return nullptr;
}

// Looked for again while there is none: the run itself may make it.
bool WalkBorders::isHomeTrash(const FileIdentity& folder) {
  if (!homeTrash_)
    if (const auto found = homeTrashIdentity(files_)) homeTrash_ = *found;
  return homeTrash_ == folder;
}

bool WalkBorders::isPseudo(std::uint64_t device) {
  if (!pseudoDevices_) pseudoDevices_ = devicesOfPseudoFileSystems();
  return pseudoDevices_->count(device) != 0;
}

}  // namespace lumisk
