#include "engine/two_way_run.h"

#include <cerrno>
#include <memory>

#include "engine/directory_walk.h"
#include "engine/folder_path.h"
#include "engine/folder_proof.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string below(const std::string& root, const std::string& relative) {
  return relative.empty() ? root : paths::join(root, relative);
}

// Our own files leave no trace in a folder's dates.
Result<void> writeKeepingDate(FileCalls& files, SyncedEntries& list, int folder) {
  LUMISK_TRY(const FileStatus before, files.statusOf(folder));
  LUMISK_CHECK(list.write(folder, SyncedEntries::Durability::kNow));
  return files.setModified(folder, before.modified);
}

// Of a folder, or of the one around a file.
std::optional<FileIdentity> identityOf(FileCalls& files, const std::string& path) {
  auto folder = files.openRoot(path);
  if (!folder && folder.error().code == ENOTDIR) folder = files.openRoot(paths::parent(path));
  const auto status = folder ? files.statusOf(folder->get()) : fail(folder.error());
  return status ? std::optional(status->identity) : std::nullopt;
}

bool isSameState(const FileStatus& a, const FileStatus& b) {
  return a.type == b.type && a.identity == b.identity &&
         (a.type == FileType::kFolder || (a.modified == b.modified && a.size == b.size));
}

}  // namespace

bool TwoWayRun::carry(const std::string& source, const std::string& opposite, int layer, int mode) {
  TwoWaySide here{withoutTrailingSlashes(source), {}, 0};
  TwoWaySide there{withoutTrailingSlashes(opposite), {}, 0};
  settled_ = {};
  const auto begun = identityOf(run_.files, here.path);
  if (!pass(Direction::kForward, here, there, layer, mode)) return false;
  if (run_.mustStop()) return true;
  // A volume that was pulled away leaves an empty folder, which must not be filled.
  if (identityOf(run_.files, here.path) != begun) {
    run_.log.write("%s: ERROR: Nothing is carried back to \"%s\": it is another folder than before\n",
                   run_.info.name.c_str(), shown(here.path).c_str());
    run_.noteError(RunError::kFileCopy);
    return false;
  }
  // In a run that only looks the other side may not be there yet.
  const bool isThere = !run_.dryRun || run_.files.openRoot(there.path).has_value();
  if (isThere && !passBack(there, here, layer, mode)) return false;
  if (run_.mustStop() || run_.dryRun) return true;
  settleDeletions(here, there);
  settleDeletions(there, here);
  return true;
}

// What the walk there left the same on both sides counts as looked at.
bool TwoWayRun::passBack(TwoWaySide& from, TwoWaySide& to, int layer, int mode) {
  run_.counts.entries += settled_.entries();
  run_.m_nFileCount += settled_.shallowEntries();
  from.entries += settled_.entries();
  return settled_.contains("") || pass(Direction::kReverse, from, to, layer, mode);
}

bool TwoWayRun::pass(Direction direction, TwoWaySide& from, TwoWaySide& to, int layer, int mode) {
  const std::uint64_t entriesBefore = run_.counts.entries;
  TwoWayRules rules(run_, copier_, trash_, losers_, conflicts_, settled_, direction, from, to);
  DirectoryWalk walk(run_, copier_, recorder_, rules);
  losers_.setLoser(LoserKeeper::Loser::kByJob);
  const bool walked = walk.copyDirectory(from.path, to.path, layer, mode);
  from.entries += run_.counts.entries - entriesBefore;
  return walked;
}

void TwoWayRun::settleDeletions(TwoWaySide& side, const TwoWaySide& other) {
  if (side.deletions.isEmpty()) return;
  const auto root = run_.files.openRoot(side.path);
  const auto otherRoot = run_.files.openRoot(other.path);
  if (!root || !otherRoot) return run_.noteError(RunError::kFileCopy);
  // The walk back may have renamed what the walk there found missing.
  side.deletions.dropVanished(run_.files, root->get());
  if (!brake_.isReleased && mustHoldDeletions(side.deletions.entries(), side.entries, brake_.percent))
    return side.deletions.hold(run_, side.path);
  const auto confirmFolder = [&](int folder, const std::string& relative,
                                 std::vector<PendingDeletion>& due) -> Result<void> {
    const auto otherFolder = openFolderBelow(run_.files, otherRoot->get(), relative);
    if (!otherFolder) return fail(otherFolder.error());
    return confirm(folder, below(side.path, relative), otherFolder->get(), below(other.path, relative), due);
  };
  side.deletions.carryOut(run_, trash_, root->get(), side.path, confirmFolder);
}

// Unlisted on both sides, and on the disk, before anything goes: a crash from here on leads to copying back.
Result<void> TwoWayRun::confirm(int folder, const std::string& path, int otherFolder, const std::string& otherPath,
                                std::vector<PendingDeletion>& due) {
  SyncedEntries listed(run_.files, path), listedThere(run_.files, otherPath);
  LUMISK_CHECK(listed.read(folder));
  LUMISK_CHECK(listedThere.read(otherFolder));
  std::vector<PendingDeletion> proven;
  for (PendingDeletion& one : due)
    if (prove(one, folder, path, otherFolder, listed, listedThere)) proven.push_back(std::move(one));
  due = std::move(proven);
  // Some file systems show empty folders when their disk has gone.
  if (!due.empty()) LUMISK_CHECK(run_.files.checkDisk(otherFolder));
  for (const PendingDeletion& one : due) {
    listed.deleteFileInArrayList(one.name);
    listedThere.deleteFileInArrayList(one.name);
  }
  LUMISK_CHECK(writeKeepingDate(run_.files, listed, folder));
  return writeKeepingDate(run_.files, listedThere, otherFolder);
}

// Once more. What comes into a proven folder from here on stays, with that folder.
bool TwoWayRun::prove(PendingDeletion& deletion, int folder, const std::string& path, int otherFolder,
                      const SyncedEntries& listed, const SyncedEntries& listedThere) {
  const auto standing = run_.files.status(folder, deletion.name);
  if (!standing || !isSameState(*standing, deletion.standing)) return false;
  const auto there = run_.files.status(otherFolder, deletion.name);
  if (there || there.error().code != ENOENT) return false;
  MissingQuestion question;
  question.standing = *standing;
  question.standingListed = listed.findFileInArrayList(deletion.name);
  question.missingListed = listedThere.findFileInArrayList(deletion.name);
  question.lastCompleted = run_.lastCompletedIn(path);
  if (decideMissing(question) != MissingVerdict::kDelete) return false;
  if (standing->type != FileType::kFolder) return true;
  const auto proof = std::make_shared<FolderProof>(run_);
  const auto entries = proof->entriesOf(folder, deletion.name, paths::join(path, deletion.name));
  deletion.mayRemove = [proof](const FileStatus& found) { return proof->hasProven(found); };
  return entries && entries->has_value();
}

}  // namespace lumisk
