#include "engine/revision_store.h"

#include <cerrno>

#include "engine/entry_removal.h"
#include "engine/tagged_name.h"

namespace lumisk {
namespace {

// A file that cannot have a second name here; it can be moved.
bool cannotLink(int code) {
  return code == EPERM || code == EOPNOTSUPP || code == ENOSYS || code == EMLINK;
}

}  // namespace

RevisionStore::RevisionStore(RunState& run, Trash& trash, PlaceNames names)
    : run_(run), trash_(trash), names_(std::move(names)), folders_(run, trash), copier_(run, none_, trash) {}

Result<VersionKeeper::Kept> RevisionStore::keep(const Place& destination, const FileStatus& standing) {
  if (run_.info.jobType == JobType::kSyncWithConflicts) return Kept::kNothing;
  return revision(destination, standing);
}

Result<VersionKeeper::Kept> RevisionStore::revision(const Place& destination, const FileStatus& standing) {
  const RevisionMethod method = run_.info.revision_method;
  if (method != RevisionMethod::kUnlimited && method != RevisionMethod::kLimited) return Kept::kNothing;
  LUMISK_CHECK(folders_.enter(revisionFolders(destination.path, run_.info.targetPaths.front(), names_)));
  LUMISK_TRY(ListedNames * names, folders_.names());
  if (method == RevisionMethod::kUnlimited) return keepAsNewest(destination, standing, *names);
  LUMISK_CHECK(closeInterruption(destination.name, *names));
  LUMISK_TRY(const Kept kept, keepAsNewest(destination, standing, *names));
  keepToLimit(destination.name, *names);
  return kept;
}

int RevisionStore::limit() const {
  return std::max(1, run_.info.revision_maxNumber);
}

// A name that is taken although it was not listed was made meanwhile, or the file system folds letter case.
Result<VersionKeeper::Kept> RevisionStore::keepAsNewest(const Place& destination, const FileStatus& standing,
                                                        ListedNames& names) {
  int number = firstFreeNumber(names, destination.name);
  if (number > 1) {
    LUMISK_TRY(const bool isKept, isNewest(destination, revisionName(destination.name, number - 1)));
    if (isKept) return Kept::kLinked;
  }
  while (true) {
    const std::string name = revisionName(destination.name, number);
    auto kept = put(destination, standing, name);
    if (!kept && kept.error().code != EEXIST) return kept;
    names.insert(name);
    if (kept) return kept;
    number = firstFreeNumber(names, destination.name);
  }
}

// So it is after a run that was interrupted between keeping the version and replacing it. The identity alone would not
// do: file systems without hard links may give numbers anew.
Result<bool> RevisionStore::isNewest(const Place& destination, const std::string& newestName) {
  const auto newest = run_.files.status(folders_.folder(), newestName);
  if (!newest && newest.error().code == ENOENT) return false;
  if (!newest) return fail(newest.error());
  LUMISK_TRY(const FileStatus now, run_.files.status(destination.folder, destination.name));
  return newest->identity == now.identity && newest->type == now.type && newest->links > 1 && now.links > 1 &&
         newest->size == now.size && newest->modified == now.modified;
}

Result<VersionKeeper::Kept> RevisionStore::put(const Place& destination, const FileStatus& standing,
                                               const std::string& name) {
  if (standing.type == FileType::kFolder) return move(destination, standing, name);
  auto linked = run_.files.link(destination.folder, destination.name, folders_.folder(), name);
  if (linked) {
    run_.written.wrote(-1, folders_.folder(), standing.identity.device);
    return Kept::kLinked;
  }
  if (linked.error().code == EXDEV) return copyAcross(destination, standing, name);
  if (cannotLink(linked.error().code)) return move(destination, standing, name);
  return fail(std::move(linked).error());
}

Result<VersionKeeper::Kept> RevisionStore::move(const Place& destination, const FileStatus& standing,
                                                const std::string& name) {
  auto moved = run_.files.rename(destination.folder, destination.name, folders_.folder(), name, Replace::kNever);
  if (!moved && moved.error().code == EXDEV) return copyAcross(destination, standing, name);
  if (!moved) return fail(std::move(moved).error());
  run_.written.wrote(-1, folders_.folder(), standing.identity.device);
  run_.written.wrote(-1, destination.folder, standing.identity.device);
  return Kept::kMoved;
}

Result<VersionKeeper::Kept> RevisionStore::copyAcross(const Place& destination, const FileStatus& standing,
                                                      const std::string& name) {
  const Place revision{folders_.folder(), name, folders_.pathOf(name)};
  if (standing.type == FileType::kRegular) {
    LUMISK_CHECK(copier_.copyMacintoshFile(destination, standing, revision, std::nullopt));
    return Kept::kLinked;
  }
  if (standing.type == FileType::kLink) {
    const auto outcome = copier_.copyMacintoshFileLink(destination, standing, revision, std::nullopt);
    if (outcome == FileCopier::LinkOutcome::kMade) return Kept::kLinked;
    return fail("keep the earlier version", destination.path, 0, "the link could not be copied");
  }
  LUMISK_CHECK(trash_.moveToTrash(destination.folder, destination.name, destination.path));
  run_.written.wrote(-1, destination.folder, standing.identity.device);
  return Kept::kMoved;
}

Result<void> RevisionStore::closeInterruption(const std::string& fileName, ListedNames& names) {
  const int gap = interruptedNumber(names, fileName, limit());
  return gap == 0 ? Result<void>{} : moveDown(fileName, gap, names);
}

// Moves the revisions that follow a free number down by one.
Result<void> RevisionStore::moveDown(const std::string& fileName, int gap, ListedNames& names) {
  for (int number = gap + 1;; ++number) {
    const std::string from = revisionName(fileName, number);
    const std::string to = revisionName(fileName, number - 1);
    if (names.count(from) == 0) return {};
    LUMISK_CHECK(run_.files.rename(folders_.folder(), from, folders_.folder(), to, Replace::kNever));
    names.erase(from);
    names.insert(to);
  }
}

Result<void> RevisionStore::dropOldest(const std::string& fileName, ListedNames& names) {
  const std::string oldest = revisionName(fileName, 1);
  LUMISK_CHECK(removeTree(run_.files, folders_.folder(), oldest, [this] { return run_.mustStop(); }));
  names.erase(oldest);
  return moveDown(fileName, 1, names);
}

// The version is safe by now, so what fails here is told and left to the next revision of the file.
void RevisionStore::keepToLimit(const std::string& fileName, ListedNames& names) {
  for (int step = 0; step < 2 && firstFreeNumber(names, fileName) - 1 > limit(); ++step) {
    if (auto dropped = dropOldest(fileName, names); !dropped) {
      run_.log.write("%s: ERROR: Failed to renumber the revisions of \"%s\"\n error: %s\n", run_.info.name.c_str(),
                     shown(folders_.pathOf(fileName)).c_str(), shown(dropped.error().text()).c_str());
      return;
    }
  }
}

}  // namespace lumisk
