#include "engine/two_way_rules.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "engine/folder_flags.h"
#include "engine/folder_proof.h"
#include "engine/info_files.h"
#include "engine/walk_borders.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

// What a folder that lies in a renamed one was called before.
std::optional<std::string> below(const std::optional<std::string>& oldFolder, const std::string& path) {
  return oldFolder ? std::optional(paths::join(*oldFolder, paths::lastComponent(path))) : std::nullopt;
}

std::string joined(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : paths::join(folder, name);
}

// Whether the other side has nothing that the walk there did not look at.
bool hasNothingElse(const NameList& there, const NameList& here) {
  for (std::size_t i = 0, k = 0; i < there.size(); ++i) {
    while (k < here.size() && here.name(k) < there.name(i)) ++k;
    if (k < here.size() && here.name(k) == there.name(i)) continue;
    const std::string name(there.name(i));
    if (!isInfoFileName(name) && (!whyNotCopied(name) || isTemporaryName(name))) return false;
  }
  return true;
}

}  // namespace

// Folders.

void TwoWayRules::enterFolder(FrameStack& at) {
  FolderFrame& frame = at.top();
  const bool isRoot = levels_.empty();
  // A target that cannot hold a folder's owner or permissions would take them from the source on the way back.
  const bool isTheirs = direction_ == Direction::kReverse && frame.destinationState == DestinationState::kStood;
  if (isTheirs && frame.metadata == FolderMetadata::kFromSource) frame.metadata = FolderMetadata::kDateOnly;
  Level& level = levels_.emplace_back(run_.files, at.sourcePath(), at.destinationPath());
  level.isKept = !frame.isSingleEntry;
  if (!level.isKept) return;
  readLists(at, level);
  followRename(at, level);
  bool wasInStep = false;
  if (!isRoot) {
    Level& above = levels_[levels_.size() - 2];
    const std::string fromName = paths::lastComponent(at.sourcePath());
    const std::string toName = paths::lastComponent(at.destinationPath());
    wasInStep = above.from.findFileInArrayList(fromName) && above.to.findFileInArrayList(toName) && !level.fromOldPath;
    if (above.isKept) {
      above.from.addFileToArrayList(fromName);
      above.to.addFileToArrayList(toName);
    }
  }
  const bool isNew = frame.destinationState == DestinationState::kNew;
  const bool needsFlags = !run_.dryRun && (isNew || !wasInStep);
  if (!needsFlags || flagFolders(at, level, isNew) || isRoot) return;
  // The next run tries again.
  Level& above = levels_[levels_.size() - 2];
  above.from.deleteFileInArrayList(paths::lastComponent(at.sourcePath()));
  above.to.deleteFileInArrayList(paths::lastComponent(at.destinationPath()));
}

void TwoWayRules::readLists(FrameStack& at, Level& level) {
  const FolderFrame& frame = at.top();
  if (const auto read = level.from.read(frame.source.get()); !read) noteUnread(level, at.sourcePath(), read.error());
  if (frame.destinationState != DestinationState::kStood) return;
  if (const auto read = level.to.read(frame.destination.get()); !read)
    noteUnread(level, at.destinationPath(), read.error());
}

// What was deleted cannot be told from what is new: nothing is done about what the sides differ in.
void TwoWayRules::noteUnread(Level& level, const std::string& path, const Error& error) {
  level.isUnread = true;
  complain("read the list in", path, error);
  run_.noteError(RunError::kFileCopy);
}

void TwoWayRules::followRename(FrameStack& at, Level& level) {
  if (renamed_) {
    level.fromOldPath = renamed_->fromOldPath;
    level.toOldPath = renamed_->toOldPath;
    renamed_.reset();
  } else if (levels_.size() > 1) {
    const Level& above = levels_[levels_.size() - 2];
    level.fromOldPath = below(above.fromOldPath, at.sourcePath());
    level.toOldPath = below(above.toOldPath, at.destinationPath());
  }
  if (level.fromOldPath) level.from.takeOverPaths(*level.fromOldPath);
  if (level.toOldPath) level.to.takeOverPaths(*level.toOldPath);
}

bool TwoWayRules::flagFolders(FrameStack& at, Level& level, bool isNew) {
  const FolderFrame& frame = at.top();
  FolderFlags flags(run_.files, run_.info.uuidString, at.sourcePath());
  const auto state = flags.checkTheFolderStateAtPath(frame.source.get());
  const bool isKnown = state && *state == FolderState::kKnown;
  if (!isKnown && !flag(frame.source.get(), at.sourcePath())) return false;
  return (isKnown && !isNew && !level.toOldPath) || flag(frame.destination.get(), at.destinationPath());
}

// Our own files leave no trace in a folder's dates: these say when the user last changed it.
bool TwoWayRules::flag(int folder, const std::string& path) {
  FolderFlags flags(run_.files, run_.info.uuidString, path);
  if (const auto state = flags.checkTheFolderStateAtPath(folder); state && *state == FolderState::kKnown) return true;
  const auto before = run_.files.statusOf(folder);
  const auto made = flags.createFolderFlagFileAtPath(folder);
  if (!made) complain("write the flag in", path, made.error());
  if (!made || !before) return made.has_value();
  run_.written.wrote(-1, folder, before->identity.device);
  (void)run_.files.setModified(folder, before->modified);
  return true;
}

bool TwoWayRules::passesBy(const FrameStack& at, const std::string& name) {
  return direction_ == Direction::kReverse && settled_.contains(joined(relativeFolder(at), name));
}

// A file of several names is looked at both ways: its other names may be in other folders.
void TwoWayRules::noteInStep(const FrameStack& at, Level& level) {
  const std::size_t place = at.top().next;
  level.inStep += level.lastInStep == place ? 0 : 1;
  level.lastInStep = place;
}

void TwoWayRules::noteSettled(const FrameStack& at, Level& level) {
  if (direction_ == Direction::kReverse) return;
  const FolderFrame& frame = at.top();
  const bool isSettled = level.isKept && !level.isUnread && !level.fromOldPath && !frame.isLost &&
                         level.inStep + frame.passedBy == frame.sourceNames.size() &&
                         hasNothingElse(frame.destinationNames, frame.sourceNames);
  if (!isSettled) {
    for (const std::string& name : level.settledFolders) settled_.add(joined(relativeFolder(at), name));
    return;
  }
  settled_.addEntries(level.inStep, frame.layer > 0 ? level.inStep : 0);
  if (levels_.size() == 1) return settled_.add("");
  Level& above = levels_[levels_.size() - 2];
  ++above.inStep;
  above.settledFolders.push_back(paths::lastComponent(at.sourcePath()));
}

void TwoWayRules::leaveFolder(FrameStack& at) {
  const FolderFrame& frame = at.top();
  Level& level = levels_.back();
  noteSettled(at, level);
  if (level.isKept && !frame.isLost && !run_.dryRun) {
    // What stands on neither side any more proves nothing.
    const auto stands = [&](const std::string& name) {
      return frame.sourceNames.contains(name) || frame.destinationNames.contains(name);
    };
    level.from.keepOnly(stands);
    level.to.keepOnly(stands);
    writeListAtEnd(level.from, frame.source.get(), at.sourcePath());
    writeListAtEnd(level.to, frame.destination.get(), at.destinationPath());
  }
  levels_.pop_back();
}

void TwoWayRules::writeListAtEnd(SyncedEntries& list, int folder, const std::string& path) {
  const auto written = writeList(list, folder, SyncedEntries::Durability::kWithTheRun);
  if (!written) complain("write the list in", path, written.error());
}

Result<void> TwoWayRules::writeList(SyncedEntries& list, int folder, SyncedEntries::Durability durability) {
  if (!list.isChanged()) return {};
  const auto before = run_.files.statusOf(folder);
  LUMISK_CHECK(list.write(folder, durability));
  if (!before) return {};
  run_.written.wrote(-1, folder, before->identity.device);
  (void)run_.files.setModified(folder, before->modified);
  return {};
}

// The loser may be moved away some time before the winner has its place. A crash in between must not leave the winner
// as what seems to be deleted on the other side; one that was changed since the last completed run never seems so.
bool TwoWayRules::unlistBeforeReplacing(FrameStack& at, const WalkEntry& entry, const FileStatus& winner) {
  Level& level = levels_.back();
  const bool isListed =
      level.isKept && level.from.findFileInArrayList(entry.name) && level.to.findFileInArrayList(entry.destinationName);
  // The later of the two by which either side may be judged next.
  const auto mayJudge = [&](const std::optional<CompletedRun>& run) {
    return run && (winner.type == FileType::kFolder || isUnchangedSince(winner, *run));
  };
  const bool isInDanger =
      mayJudge(run_.lastCompletedIn(at.sourcePath())) || mayJudge(run_.lastCompletedIn(at.destinationPath()));
  if (!isListed || run_.dryRun || !isInDanger) return true;
  level.from.deleteFileInArrayList(entry.name);
  level.to.deleteFileInArrayList(entry.destinationName);
  const FolderFrame& frame = at.top();
  auto written = writeList(level.from, frame.source.get(), SyncedEntries::Durability::kNow);
  if (written) written = writeList(level.to, frame.destination.get(), SyncedEntries::Durability::kNow);
  if (!written) failed(at, entry, written.error());
  return written.has_value();
}

// Not an error of the run: without a list more is copied and nothing is deleted.
void TwoWayRules::complain(const char* what, const std::string& path, const Error& error) {
  run_.log.write("%s: ERROR: Failed to %s \"%s\": %s\n", run_.info.name.c_str(), what, shown(path).c_str(),
                 shown(error.text()).c_str());
}

void TwoWayRules::isInStep(FrameStack& at, const WalkEntry& entry) {
  Level& level = levels_.back();
  const bool hasSeveralNames = entry.source.links > 1 || (entry.standing && entry.standing->links > 1);
  if (!hasSeveralNames) noteInStep(at, level);
  if (!level.isKept || isInfoFileName(entry.name)) return;
  level.from.addFileToArrayList(entry.name);
  level.to.addFileToArrayList(entry.destinationName);
}

// What is missing on the other side.

WalkVerdict TwoWayRules::missingAtDestination(FrameStack& at, const WalkEntry& entry) {
  if (isInfoFileName(entry.name)) {
    // It says what this side is. Carried over it would say so of the other one.
    noteInStep(at, levels_.back());
    return WalkVerdict::kSettled;
  }
  if (levels_.back().isUnread) return WalkVerdict::kSettled;
  return isDeletionDue(at, entry) ? addDeletion(at, entry, 1) : WalkVerdict::kGoOn;
}

bool TwoWayRules::isDeletionDue(const FrameStack& at, const WalkEntry& entry) const {
  const Level& level = levels_.back();
  if (!level.isKept || isInfoFileName(entry.name)) return false;
  MissingQuestion question;
  question.standing = entry.source;
  question.standingListed = level.from.findFileInArrayList(entry.name);
  question.missingListed = level.to.findFileInArrayList(entry.name);
  question.insidePackageUnit = run_.m_nFilterCount > 0;
  question.lastCompleted = run_.lastCompletedIn(at.sourcePath());
  return decideMissing(question) == MissingVerdict::kDelete;
}

WalkVerdict TwoWayRules::addDeletion(FrameStack& at, const WalkEntry& entry, std::uint64_t entries) {
  from_.deletions.add({relativeFolder(at), entry.name, entry.source, entries});
  from_.entries += entries - 1;
  if (run_.dryRun) outcome(at, entry, EntryOutcome::kDeleted, "deleted on the other side");
  return WalkVerdict::kSettled;
}

std::string TwoWayRules::relativeFolder(const FrameStack& at) const {
  const std::string& path = at.sourcePath();
  return path.size() > from_.path.size() ? path.substr(from_.path.size() + 1) : std::string();
}

void TwoWayRules::noteMount(FrameStack& at, const WalkEntry& entry) {
  const std::uint64_t device = entry.source.identity.device;
  if (device != at.top().sourceStatus().identity.device) from_.mounts[at.sourcePlace(entry.name).path] = device;
}

// A volume that was pulled away since the walk there leaves an empty folder, or none, which must not be filled.
bool TwoWayRules::isGoneMount(const FrameStack& at, const WalkEntry& entry) const {
  if (to_.mounts.empty()) return false;
  const auto mount = to_.mounts.find(at.destinationPlace(entry.destinationName).path);
  if (mount == to_.mounts.end()) return false;
  return !entry.standing || entry.standing->identity.device != mount->second;
}

WalkVerdict TwoWayRules::folderFound(FrameStack& at, const WalkEntry& entry) {
  noteMount(at, entry);
  if (isGoneMount(at, entry)) {
    failed(at, entry, Error{"carry back into", entry.name, ESTALE, {}});
    return WalkVerdict::kSettled;
  }
  if (entry.standing && entry.standing->type == FileType::kFolder) return WalkVerdict::kGoOn;
  if (levels_.back().isUnread) return WalkVerdict::kSettled;
  if (entry.standing) {
    const PresentVerdict verdict = decidePresent(questionOf(entry));
    const bool isBack = verdict == PresentVerdict::kCopyBack;
    const bool isReplaced = isBack || verdict == PresentVerdict::kCopyTrash;
    if (isReplaced && !unlistBeforeReplacing(at, entry, isBack ? *entry.standing : entry.source))
      return WalkVerdict::kSettled;
    if (isBack) carryBack(at, entry);
    return verdict == PresentVerdict::kCopyTrash ? WalkVerdict::kGoOn : WalkVerdict::kSettled;
  }
  if (takeRename(at, entry)) return WalkVerdict::kLookAgain;
  if (!isDeletionDue(at, entry)) return WalkVerdict::kGoOn;
  const Place place = at.sourcePlace(entry.name);
  const auto entries = FolderProof(run_).entriesOf(place.folder, place.name, place.path);
  if (!entries) {
    failed(at, entry, entries.error());
    return WalkVerdict::kSettled;
  }
  return *entries ? addDeletion(at, entry, **entries) : WalkVerdict::kGoOn;
}

// A folder that the user renamed: its flag tells its old name, which is gone here and stands there.
std::optional<std::string> TwoWayRules::oldNameOf(FrameStack& at, const WalkEntry& entry) {
  const FolderFrame& frame = at.top();
  const Level& level = levels_.back();
  if (!level.isKept || !run_.lastCompleted || frame.destinationState != DestinationState::kStood) return {};
  const auto folder = run_.files.openFolder(frame.source.get(), entry.name);
  if (!folder) return {};
  FolderFlags flags(run_.files, run_.info.uuidString, at.sourcePlace(entry.name).path);
  if (const auto state = flags.checkTheFolderStateAtPath(folder->get()); !state || *state != FolderState::kRenamed)
    return {};
  const std::string& above = level.fromOldPath ? *level.fromOldPath : at.sourcePath();
  if (paths::parent(flags.originalPath()) != above) return {};
  const std::string old = flags.getOrginalFolderNameAtPath();
  const bool isRenamed = !frame.sourceNames.contains(old) && frame.destinationNames.find(old) == FileType::kFolder &&
                         level.from.findFileInArrayList(old) && level.to.findFileInArrayList(old);
  return isRenamed ? std::optional(old) : std::nullopt;
}

bool TwoWayRules::takeRename(FrameStack& at, const WalkEntry& entry) {
  const auto old = oldNameOf(at, entry);
  if (!old || run_.dryRun) return false;
  const FolderFrame& frame = at.top();
  const int folder = frame.destination.get();
  const auto renamed = run_.files.rename(folder, *old, folder, entry.name, Replace::kNever);
  if (!renamed) {
    complain("rename", at.destinationPlace(*old).path, renamed.error());
    return false;
  }
  run_.written.wrote(-1, folder, frame.destinationStatus.identity.device);
  Level& level = levels_.back();
  for (SyncedEntries* list : {&level.from, &level.to}) {
    list->deleteFileInArrayList(*old);
    list->addFileToArrayList(entry.name);
  }
  renamed_ = Renamed{paths::join(level.fromOldPath.value_or(at.sourcePath()), *old),
                     paths::join(level.toOldPath.value_or(at.destinationPath()), *old)};
  return true;
}

}  // namespace lumisk
