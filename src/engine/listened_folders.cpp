#include "engine/listened_folders.h"

#include <algorithm>
#include <set>

#include "engine/copy_rule.h"
#include "engine/info_files.h"
#include "engine/walk_borders.h"
#include "platform/paths.h"
#include "platform/trash_finder.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

constexpr const char* kRevisionFolder = "Revision";

using Components = std::vector<std::string>;

bool startsWith(const Components& path, const Components& folder) {
  return folder.size() <= path.size() && std::equal(folder.begin(), folder.end(), path.begin());
}

// In the order of the components, what lies in a folder follows it directly.
std::set<Components> outermost(const std::vector<std::string>& folders) {
  std::set<Components> sorted;
  for (const std::string& folder : folders) sorted.insert(paths::components(folder));
  std::set<Components> kept;
  const Components* last = nullptr;
  for (const Components& folder : sorted) {
    if (last && startsWith(folder, *last)) continue;
    kept.insert(folder);
    last = &folder;
  }
  return kept;
}

bool isSamePath(const std::string& a, const std::string& b) {
  return paths::isInside(a, b) && paths::isInside(b, a);
}

std::string restOf(const std::string& path, const std::string& folder) {
  const Components names = paths::components(path);
  std::string rest;
  for (std::size_t i = paths::components(folder).size(); i < names.size(); ++i)
    rest = rest.empty() ? names[i] : paths::join(rest, names[i]);
  return rest;
}

void addRoot(std::vector<WatchedRoot>& roots, WatchedRoot root) {
  for (WatchedRoot& known : roots) {
    if (known.path != root.path) continue;
    known.isRecursive |= root.isRecursive;
    return;
  }
  roots.push_back(std::move(root));
}

WatchedRoot rootOf(const std::string& path, bool isFolder) {
  return isFolder ? WatchedRoot{path, true} : WatchedRoot{paths::parent(path), false};
}

bool isNeverWalked(const std::string& name) {
  return whyNotCopied(name) != nullptr || whyNotWalked(name) != nullptr;
}

// Nothing for what is never walked.
std::optional<std::string> walkedPart(const std::string& below, bool dealsPackages) {
  std::string part;
  for (const std::string& name : paths::components(below)) {
    if (isNeverWalked(name)) return std::nullopt;
    if (dealsPackages && workspace::isPackageName(name)) return part;
    part = part.empty() ? name : paths::join(part, name);
  }
  return part;
}

// The part of one place that a changed folder is.
std::optional<std::string> partOf(const std::string& folder, const ListenedPlace& place, bool isTwoWay) {
  const std::string& source = place.source;
  if (paths::isInside(source, folder)) return "";
  if (!place.isFolder) return std::nullopt;
  if (paths::isInside(folder, source)) return restOf(folder, source);
  if (isTwoWay && paths::isInside(place.opposite, folder)) return "";
  if (isTwoWay && paths::isInside(folder, place.opposite)) return restOf(folder, place.opposite);
  return std::nullopt;
}

}  // namespace

std::vector<std::string> sortedMessagesArray(const std::vector<std::string>& folders) {
  std::set<Components> wanted = outermost(folders);
  std::vector<std::string> sorted;
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder)
    if (wanted.erase(paths::components(*folder)) != 0) sorted.push_back(*folder);
  return sorted;
}

std::vector<WatchedRoot> sortTheListenningArray(const std::vector<ListenedPlace>& places, JobType type) {
  std::vector<WatchedRoot> roots;
  for (const ListenedPlace& place : places) addRoot(roots, rootOf(place.source, place.isFolder));
  if (!isSync(type)) return roots;
  for (const ListenedPlace& place : places) addRoot(roots, rootOf(place.opposite, place.isFolder));
  return roots;
}

bool checkListenedDirectory(const std::string& folder, const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& job) {
  const std::string target = job.targetPaths.empty() ? std::string() : job.targetPaths.front();
  if (!target.empty() && paths::isInside(folder, paths::join(target, kRevisionFolder))) return false;
  for (const std::string& source : job.sourcePaths)
    if (paths::isInside(source, folder) || paths::isInside(folder, source)) return true;
  if (target.empty()) return false;
  if (isSamePath(folder, target)) return job.jobType == JobType::kSyncWithConflicts;
  return paths::isInside(folder, target);
}

std::optional<std::string> createDestinationStringForFSEvent(const std::string& path,
                                                             const std::vector<std::string>& sources) {
  for (const std::string& source : sources) {
    if (!paths::isInside(path, source)) continue;
    const std::string rest = restOf(path, source);
    const std::string name = paths::lastComponent(source);
    return rest.empty() ? name : paths::join(name, rest);
  }
  return std::nullopt;
}

std::vector<std::size_t> isAsigleFileChangedAtPath(const std::string& folder, const std::vector<ListenedPlace>& places,
                                                   JobType type) {
  std::vector<std::size_t> changed;
  if (type == JobType::kSyncWithConflicts) return changed;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (places[i].isFolder) continue;
    const bool isThere = type == JobType::kSyncWithRevisions && paths::isInside(places[i].opposite, folder);
    if (isThere || paths::isInside(places[i].source, folder)) changed.push_back(i);
  }
  return changed;
}

std::vector<ListenedPart> createSourceArrayFromListenedDir(const std::vector<std::string>& folders,
                                                           const std::vector<ListenedPlace>& places, JobType type,
                                                           bool dealsPackages) {
  std::vector<ListenedPart> parts;
  for (const std::string& folder : folders) {
    if (paths::isInside(folder, homeTrashPath())) continue;
    for (std::size_t i = 0; i < places.size(); ++i) {
      const auto below = partOf(folder, places[i], isSync(type));
      const auto part = below ? walkedPart(*below, dealsPackages) : std::nullopt;
      if (part) parts.push_back({i, *part});
    }
    for (const std::size_t i : isAsigleFileChangedAtPath(folder, places, type)) parts.push_back({i, ""});
  }
  return prunedParts(std::move(parts));
}

std::vector<ListenedPart> prunedParts(std::vector<ListenedPart> parts) {
  std::vector<ListenedPart> pruned;
  std::set<std::size_t> places;
  for (const ListenedPart& part : parts) places.insert(part.place);
  for (const std::size_t place : places) {
    std::vector<std::string> folders;
    for (const ListenedPart& part : parts)
      if (part.place == place) folders.push_back("/" + part.below);
    for (const std::string& folder : sortedMessagesArray(folders)) pruned.push_back({place, folder.substr(1)});
  }
  return pruned;
}

bool isIgnoredEvent(const std::string& target, const std::string& folder, std::string_view name) {
  const std::string text(name);
  if (isNeverWalked(text) || isInfoFileName(name)) return true;
  if (paths::isInside(paths::join(folder, text), homeTrashPath())) return true;
  return text == kRevisionFolder && isSamePath(folder, target);
}

}  // namespace lumisk
