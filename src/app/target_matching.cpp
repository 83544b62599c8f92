#include "app/target_matching.h"

#include <algorithm>

#include "jobs/job_keys.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

// Of two that are mounted in one place the later hides the earlier; the place is the same.
std::string deepestMountAbove(const std::string& path, const std::vector<MountEntry>& mounts) {
  std::string deepest;
  for (const MountEntry& mount : mounts) {
    if (paths::isInside(path, mount.mountPoint) && mount.mountPoint.size() > deepest.size()) deepest = mount.mountPoint;
  }
  return deepest;
}

}  // namespace

std::vector<std::string> targetsOf(const PropertyList& job) {
  const PropertyList& folders = job[kBackupFoldersKey];
  const bool hasMany = folders.at(0)[kTargetFlagKey].boolean();
  std::vector<std::string> targets;
  for (std::size_t i = 2; i < folders.array().size() && (hasMany || targets.empty()); i += 2) {
    targets.push_back(folders.at(i).text());
  }
  return targets;
}

bool liesOnVolume(const std::string& target, const std::string& mountPath, const std::vector<MountEntry>& mounts) {
  if (target.empty() || mountPath == "/") return false;
  const std::string whole = paths::normalised(target, "/");
  const auto parts = paths::components(whole);
  if (parts.size() > 2 && "/" + parts[0] + "/" + parts[1] == mountPath) return true;
  return deepestMountAbove(whole, mounts) == mountPath;
}

std::vector<std::string> volumesOf(const std::vector<MountEntry>& mounts) {
  std::vector<std::string> volumes;
  for (const MountEntry& mount : mounts) {
    const bool isKnown = std::find(volumes.begin(), volumes.end(), mount.mountPoint) != volumes.end();
    if (!isKnown && !isPseudoFileSystem(mount.fileSystem)) volumes.push_back(mount.mountPoint);
  }
  return volumes;
}

StatusRefresh statusRefresh(bool targetExists, bool autoMount) {
  if (!targetExists && !autoMount) return StatusRefresh::kDisable;
  return targetExists && autoMount ? StatusRefresh::kNothing : StatusRefresh::kEnable;
}

}  // namespace lumisk
