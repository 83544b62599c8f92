#include "engine/place_checks.h"

#include <algorithm>
#include <cerrno>

#include "engine/copy_file_thread_object.h"
#include "platform/paths.h"
#include "platform/volume.h"
#include "platform/workspace.h"

namespace lumisk {

PlaceChecks::PlaceChecks(const WorkerServices& services, const RunRequest& request, RunState& run, RunReport& report)
    : services_(services),
      request_(request),
      run_(run),
      report_(report),
      isStored_(!request.info.uuidString.empty()),
      remembered_(fileSystemsFromList(request.info.rootFileSystems)) {
  for (const std::string& source : request.info.sourcePaths) lookAt(source);
}

// Sources.

void PlaceChecks::lookAt(const std::string& source) {
  const auto mountNumber = volume::mountNumberOf(source);
  auto root = fileSystemNow(source);
  auto mounts = mountsBelow(source);
  if (!root || !mounts) return;  // the run finds out for itself what it can read there
  if (!request_.options.acceptSource) {
    for (const RememberedFileSystem& gone : goneMounts(remembered_, source, *mounts)) unbelieved_.push_back(gone.place);
  }
  seen_[source] = {std::move(*root), std::move(*mounts), mountNumber ? std::optional(*mountNumber) : std::nullopt};
}

// Asked before the deletions of each folder. Looking at file systems reads their disks; as long as nothing was mounted
// or unmounted, and the sources' paths lead to the mounts that they led to, all is where it was.
const std::vector<std::string>& PlaceChecks::vanished() {
  if (mountChanges_.haveHappened() || !vanished_.empty() || !isAllWhereItWas()) vanished_ = lookForVanished();
  return vanished_;
}

bool PlaceChecks::isAllWhereItWas() const {
  return std::all_of(seen_.begin(), seen_.end(), [](const auto& one) {
    const auto& [source, seen] = one;
    const auto now = volume::mountNumberOf(source);
    return now && seen.mountNumber == *now;
  });
}

std::vector<std::string> PlaceChecks::lookForVanished() const {
  std::vector<std::string> gone;
  for (const auto& [source, seen] : seen_) {
    const auto root = fileSystemNow(source);
    if (!root || !isSameFileSystem(seen.root, *root)) gone.push_back(source);
    const auto mounts = seen.mounts.empty() ? RememberedFileSystems() : mountsBelow(source);
    if (!mounts) gone.push_back(source);
    for (const auto& mount : mounts ? goneMounts(seen.mounts, source, *mounts) : seen.mounts)
      gone.push_back(mount.place);
  }
  return gone;
}

std::optional<std::string> PlaceChecks::whyNotSource(const std::string& source) {
  if (seen_.count(source) == 0) lookAt(source);  // it may have come during the run
  const auto seen = seen_.find(source);
  if (seen == seen_.end() || request_.options.acceptSource) return std::nullopt;
  const auto now = fileSystemNow(source);
  const bool isStill = now && isSameFileSystem(seen->second.root, *now);
  if (isStill && checkRoot(remembered_, *now) != RootVerdict::kAnother) return std::nullopt;
  seen_.erase(seen);
  return shown(source) + ": the source is on another file system than before; say lumisk run " + shownName() +
         " --accept-source if that is meant";
}

std::optional<PlaceChecks::MissingMount> PlaceChecks::missingMount(const std::string& source) const {
  for (const std::string& place : unbelieved_) {
    if (!paths::isInside(place, source)) continue;
    return MissingMount{place, shown(place) + ": this part of the source was a file system of its own, which is not " +
                                   "mounted; nothing is deleted for it. Say lumisk run " + shownName() +
                                   " --accept-source if that is meant"};
  }
  return std::nullopt;
}

void PlaceChecks::markSource(const std::string& source) {
  if (!isStored_ || run_.dryRun) return;
  const auto info = workspace::fileSystemInfo(source);
  if (!info || !info->isUnmountable || !info->isWritable) return;
  if (const auto marked = createInfoFileIntoSourceFolder(run_.files, source, infoFile()); !marked)
    run_.log.write("%s: can't mark the source \"%s\": %s\n", run_.info.name.c_str(), shown(source).c_str(),
                   shown(marked.error().text()).c_str());
}

// What was not walked keeps what is known of it; so does a mount that has gone, until the user says that it is meant.
void PlaceChecks::remember() {
  if (!isStored_ || run_.dryRun) return;
  RememberedFileSystems next;
  const auto add = [&](const RememberedFileSystem& one) {
    const bool isKnown = std::any_of(next.begin(), next.end(),
                                     [&](const RememberedFileSystem& known) { return known.place == one.place; });
    if (!isKnown) next.push_back(one);
  };
  for (const RememberedFileSystem& one : remembered_) {
    const bool isGone = std::find(unbelieved_.begin(), unbelieved_.end(), one.place) != unbelieved_.end();
    const bool isSeen = std::any_of(seen_.begin(), seen_.end(),
                                    [&](const auto& seen) { return paths::isInside(one.place, seen.first); });
    if (isGone || !isSeen) add(one);
  }
  for (const auto& [source, seen] : seen_) {
    add(seen.root);
    for (const RememberedFileSystem& mount : seen.mounts) add(mount);
  }
  if (next != remembered_) report_.jobKeys[kRootFileSystemsKey] = fileSystemsToList(next);
}

// Targets.

std::optional<std::string> PlaceChecks::whyNotTarget(const std::string& path, const RunTarget& target) {
  if (!isStored_) return std::nullopt;
  const auto known = targets_.find(path);
  if (known != targets_.end()) return known->second;
  return targets_[path] = examineTarget(path, target);
}

std::optional<std::string> PlaceChecks::examineTarget(const std::string& path, const RunTarget& target) {
  const auto& marked = run_.info.markedTargets;
  const auto found = findInfoFile(run_.files, target.folder.get(), InfoFileKind::kTarget, run_.info.uuidString);
  if (!found) return shown(path) + ": the target's marker cannot be read: " + shown(found.error().text());
  TargetEvidence evidence;
  evidence.wasWrittenBefore = std::find(marked.begin(), marked.end(), path) != marked.end();
  evidence.hasInfoFile = found->has_value();
  evidence.isAccepted = request_.options.acceptTarget;
  const TargetVerdict verdict = checkTarget(evidence);
  if (verdict != TargetVerdict::kUnknown) return run_.dryRun ? std::nullopt : markTarget(path, target, verdict);
  return shown(path) + ": the target is not the folder that was written to before (is its volume mounted?); say " +
         "lumisk run " + shownName() + " --accept-target if it is meant";
}

std::optional<std::string> PlaceChecks::markTarget(const std::string& path, const RunTarget& target,
                                                   TargetVerdict verdict) {
  const auto marked = createInfoFileIntoDestFolder(run_.files, target.folder.get(), infoFile());
  if (!marked) {
    if (marked.error().code == ENOSPC) run_.noteOutOfSpace();
    const std::string reason = shown(marked.error().text());
    if (verdict == TargetVerdict::kNew) return shown(path) + ": the target cannot be marked: " + reason;
    // It has the marker, if one that tells of earlier settings.
    run_.log.write("%s: can't renew the mark of the target \"%s\": %s\n", run_.info.name.c_str(), shown(path).c_str(),
                   reason.c_str());
  }
  noteMarked(path);
  return std::nullopt;
}

// At once: were it told at the end only, a run that never gets there would leave a written target unknown.
void PlaceChecks::noteMarked(const std::string& path) {
  auto& marked = report_.jobKeys[kMarkedTargetsKey].mutableArray();
  const auto& before = run_.info.markedTargets;
  if (marked.empty()) marked.assign(before.begin(), before.end());
  if (std::find(marked.begin(), marked.end(), PropertyList(path)) != marked.end()) return;
  marked.emplace_back(path);
  services_.notifications.post({kLearnedNotification,
                                {},
                                {{kJobIndexKey, PropertyList(request_.jobIndex)},
                                 {kJobUuidKey, run_.info.uuidString},
                                 {kRunJobKeysKey, PropertyList::Dictionary{{kMarkedTargetsKey, marked}}}}});
}

InfoFile PlaceChecks::infoFile() const {
  return {run_.info.name, run_.info.sourcePaths, run_.info.targetPaths, run_.info.uuidString};
}

std::string PlaceChecks::shownName() const {
  const std::string name = shown(run_.info.name);
  return name.find(' ') == std::string::npos ? name : "\"" + name + "\"";
}

}  // namespace lumisk
