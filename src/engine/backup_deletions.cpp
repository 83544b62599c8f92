#include "engine/backup_deletions.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "engine/folder_path.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

std::string withoutLeadingSlashes(std::string_view path) {
  while (!path.empty() && path.front() == '/') path.remove_prefix(1);
  return std::string(path);
}

bool isFolder(FileCalls& files, int parent, const FolderEntry& entry) {
  if (entry.type != FileType::kUnknown) return entry.type == FileType::kFolder;
  const auto status = files.status(parent, entry.name);
  return status && status->type == FileType::kFolder;
}

// By their listings alone. What cannot be listed counts as empty.
std::uint64_t countBelow(RunState& run, int parent, const std::string& name) {
  std::uint64_t count = 0;
  std::vector<std::string> waiting{name};
  while (!waiting.empty() && !run.mustStop()) {
    run.waitWhilePaused();
    const std::string relative = std::move(waiting.back());
    waiting.pop_back();
    const auto folder = openFolderBelow(run.files, parent, relative);
    std::vector<FolderEntry> entries;
    if (!folder || !run.files.listFolder(folder->get(), entries)) continue;
    count += entries.size();
    for (const FolderEntry& entry : entries)
      if (isFolder(run.files, folder->get(), entry)) waiting.push_back(relative + "/" + entry.name);
  }
  return count;
}

}  // namespace

// During the walk.

void TargetDeletions::enterFolder(FrameStack& at) {
  const FolderFrame& frame = at.top();
  const bool isRoot = at.belowDestinationRoot().empty();
  if (isRoot) root_ = nullptr;
  if (frame.isSingleEntry || frame.destinationState != DestinationState::kStood) return;
  if (isRoot && !beginRoot(at)) return run_.noteError(RunError::kFileCopy);
  if (!root_) return;
  held_ += frame.destinationNames.size();
  deletion_.syncDirectory({frame.source.get(), at.sourcePath(), frame.sourceNames},
                          {frame.destination.get(), at.destinationPath(), frame.destinationNames},
                          [&](const AutoDeletion::Doomed& doomed) { collect(at, doomed); });
}

Result<void> TargetDeletions::beginRoot(FrameStack& at) {
  auto root = std::make_unique<Root>();
  LUMISK_TRY(root->source, run_.files.duplicate(at.top().source.get()));
  LUMISK_TRY(root->destination, run_.files.duplicate(at.top().destination.get()));
  root->sourcePath = at.sourcePath();
  root->destinationPath = at.destinationPath();
  root_ = roots_.emplace_back(std::move(root)).get();
  return {};
}

void TargetDeletions::collect(const FrameStack& at, const AutoDeletion::Doomed& doomed) {
  const bool isFolder = doomed.standing.type == FileType::kFolder;
  const std::uint64_t inside = isFolder ? countBelow(run_, doomed.place.folder, doomed.place.name) : 0;
  const std::string relative(at.belowDestinationRoot());
  root_->sourceFolders.try_emplace(
      relative, withoutLeadingSlashes(std::string_view(at.sourcePath()).substr(root_->sourcePath.size())));
  root_->pending.add({relative, doomed.place.name, doomed.standing, inside + 1});
  held_ += inside;
  due_ += inside + 1;
}

// After it.

bool TargetDeletions::mustHold(const DeletionBrake& brake, std::uint64_t further) const {
  return !brake.isReleased && mustHoldDeletions(due_ + further, held_, brake.percent);
}

TargetDeletions::Settled TargetDeletions::settle(const DeletionBrake& brake) {
  const bool isHeld = mustHold(brake, 0);
  for (const auto& root : roots_) {
    if (isHeld) {
      root->pending.hold(run_, root->destinationPath);
    } else if (run_.dryRun) {
      root->pending.tell(run_, root->destinationPath);
    } else {
      root->pending.carryOut(run_, trash_, root->destination.get(), root->destinationPath,
                             [&](int, const std::string& relative, std::vector<PendingDeletion>& due) {
                               return confirm(*root, relative, due);
                             });
    }
  }
  return isHeld ? Settled::kHeld : Settled::kCarriedOut;
}

// What came back to the source since the walk stays, and so does what lay in a folder that has gone meanwhile: the next
// run takes it as a whole.
Result<void> TargetDeletions::confirm(const Root& root, const std::string& relative,
                                      std::vector<PendingDeletion>& due) {
  const auto source = openFolderBelow(run_.files, root.source.get(), root.sourceFolders.at(relative));
  if (!source && source.error().code == ENOENT) {
    due.clear();
    return {};
  }
  if (!source) return fail(source.error());
  LUMISK_TRY(const NameList names, listNames(run_.files, source->get()));
  LUMISK_CHECK(run_.files.checkDisk(source->get()));
  disbelieveVanished(scope_);
  const std::string path = paths::join(root.sourcePath, root.sourceFolders.at(relative));
  std::erase_if(due, [&](const PendingDeletion& one) { return !isBelieved(scope_, paths::join(path, one.name)); });
  std::erase_if(due, [&](const PendingDeletion& one) {
    if (isSkippedName(one.name)) return false;  // never carried, whether it stands or not
    const auto standing = run_.files.status(source->get(), one.name);
    return names.contains(one.name) || standing || standing.error().code != ENOENT;
  });
  return {};
}

void TargetDeletions::settleListed(const DeletionBrake& brake) {
  for (const CarriedRoot& root : scope_.roots)
    if (sound_.count(root.source) == 0) deletion_.disbelieve(root.source);
  deletion_.autoDeleteion([&](const DeletionPlan& plan) { return !mustHold(brake, plan.deletions); });
}

// The run.

BackupDeletions::BackupDeletions(RunState& run, DeletionBrake brake, DeletionScope scope, List list)
    : run_(run),
      brake_(brake),
      scope_(std::move(scope)),
      usesList_(run.dryRun ? List::kNone : list),
      list_(run.files),
      recorder_(std::make_unique<FileListRecorder>(list_)) {
  if (usesList_ == List::kKept) openList();
}

// The next run makes do without: its walk finds nearly all that the list would tell.
void BackupDeletions::openList() {
  const auto opened = list_.openFilelist(run_.info.name, FileListMode::kWrite);
  if (!opened)
    run_.log.write("%s: can't write the list of files: %s\n", run_.info.name.c_str(), opened.error().text().c_str());
}

WalkRules& BackupDeletions::rulesFor(Trash& trash, const std::string& target) {
  return targets_.try_emplace(target, run_, trash, scope_).first->second;
}

void BackupDeletions::carry(const std::string& target, const CarriedRoot& root) {
  recorder_->recordPair(root.source, root.destination);
  targets_.at(target).noteSound(root.source);
}

void BackupDeletions::settle() {
  const std::uint64_t heldBefore = run_.counts.held;
  for (auto& [path, target] : targets_) {
    if (run_.mustStop()) break;
    const auto settled = target.settle(brake_);
    if (settled == TargetDeletions::Settled::kCarriedOut && usesList_ == List::kKept && !run_.mustStop())
      target.settleListed(brake_);
  }
  const bool isWhole = !run_.mustStop() && run_.counts.held == heldBefore;
  isWhole ? closeList() : list_.discard();
}

void BackupDeletions::closeList() {
  if (!list_.isOpen()) return;
  if (const auto closed = list_.closeFilelist(); !closed)
    run_.log.write("%s: can't write the list of files: %s\n", run_.info.name.c_str(), closed.error().text().c_str());
}

}  // namespace lumisk
