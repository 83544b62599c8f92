#include "clone/clone_update.h"

#include <cerrno>

#include "clone/clone_rule.h"
#include "platform/temporary_name.h"

namespace lumisk {

void CloneUpdate::run() {
  auto roots = openRoots(state_);
  if (!roots) return state_.failed("", roots.error());
  stack_.push(std::move(*roots));
  clearStanding(stack_.top());
  while (!stack_.isEmpty() && !state_.mustStop()) {
    const FolderPair& pair = stack_.top();
    pair.isLost || pair.next == pair.sourceNames.size() ? leave() : step();
  }
}

void CloneUpdate::step() {
  FolderPair& pair = stack_.top();
  name_.assign(pair.sourceNames.name(pair.next++));
  path_ = stack_.pathOf(name_);
  state_.atEntry(path_);
  const auto source = state_.files.status(pair.source.get(), name_);
  if (!source && source.error().code == ENOENT) return;  // it went since the folder was listed
  if (!source) return state_.failed(path_, source.error());
  std::optional<FileStatus> target;
  if (pair.targetNames.contains(name_)) {
    const auto standing = state_.files.status(pair.target.get(), name_);
    if (!standing && standing.error().code != ENOENT) return state_.failed(path_, standing.error());
    if (standing) target = *standing;
  }
  if (source->type == FileType::kFolder) return enter(name_, target);
  if (isCarried(source->type)) return carry({pair, name_, stack_.path(), path_, *source, target});
  if (target && state_.order.removesExtras) removal_.remove(pair.target.get(), name_, path_);
}

void CloneUpdate::carry(const ClonedEntry& entry) {
  auto carried = writer_.carry(entry);
  if (!carried && isOutOfSpace(carried.error()) && state_.order.removesExtras && !extrasAreGone_) {
    removeAllExtras();
    carried = writer_.carry(entry);
  }
  if (carried) return;
  const auto source = state_.files.status(entry.pair.source.get(), entry.name);
  const bool hasGone = !source && source.error().code == ENOENT;
  if (!hasGone) state_.failed(entry.path, carried.error());
}

void CloneUpdate::enter(const std::string& name, const std::optional<FileStatus>& target) {
  bool isBorder = false;
  const std::string path = path_;
  auto pair = openPair(name, target, isBorder);
  if (!pair) return state_.failed(path, pair.error());
  if (isBorder) {
    sayWhatIsLeftOut(pair->sourceStatus, path);
    repairFolder(*pair);
    if (const auto finished = finishFolder(*pair); !finished) state_.failed(path, finished.error());
    return;
  }
  stack_.push(std::move(*pair));
  clearStanding(stack_.top());
}

// Another volume is no part of this one; a subvolume is, and a clone without it is not whole.
void CloneUpdate::sayWhatIsLeftOut(const FileStatus& border, const std::string& path) {
  if (border.isMountRoot) return state_.said(path, "another file system is mounted there, which is not carried");
  state_.failed(path, "a subvolume of its own, which is not carried: clone it where it is mounted");
}

// The source is listed before anything is made for it.
Result<FolderPair> CloneUpdate::openPair(const std::string& name, std::optional<FileStatus> target, bool& isBorder) {
  FileCalls& files = state_.files;
  FolderPair pair;
  pair.name = name;
  LUMISK_TRY(pair.source, files.openFolder(stack_.top().source.get(), name));
  LUMISK_TRY(pair.sourceStatus, files.statusOf(pair.source.get()));
  isBorder = isOtherFileSystem(pair.sourceStatus, state_.source.device);
  if (!isBorder) {
    LUMISK_TRY(pair.sourceNames, listNames(files, pair.source.get()));
  }
  LUMISK_CHECK(openTarget(pair, std::move(target)));
  if (!pair.isNew && !isBorder) {
    LUMISK_TRY(pair.targetNames, listNames(files, pair.target.get()));
  }
  return pair;
}

Result<void> CloneUpdate::openTarget(FolderPair& pair, std::optional<FileStatus> target) {
  FileCalls& files = state_.files;
  const int folder = stack_.top().target.get();
  if (target && target->type != FileType::kFolder) {
    if (!removal_.remove(folder, pair.name, path_)) return fail("replace", pair.name, 0, "it cannot be removed");
    target.reset();
  }
  if (!target) LUMISK_CHECK(makeFolder(pair));
  LUMISK_TRY(pair.target, files.openFolder(folder, pair.name));
  LUMISK_TRY(pair.targetStatus, files.statusOf(pair.target.get()));
  if (isOtherFileSystem(pair.targetStatus, state_.target.device))
    return fail("enter", pair.name, 0, "another file system is mounted there at the target");
  // What it got from the folder around it would go on to all that is made in it.
  if (pair.isNew) return writeAttributes(files, {folder, pair.name, pair.target.get()}, {});
  return {};
}

Result<void> CloneUpdate::makeFolder(FolderPair& pair) {
  state_.mark.beforeChange(state_.target.root.get());
  pair.isNew = true;
  ++state_.report.copied;
  const int folder = stack_.top().target.get();
  auto made = state_.files.makeFolder(folder, pair.name, 0700);
  if (!made && isOutOfSpace(made.error()) && state_.order.removesExtras && !extrasAreGone_) {
    removeAllExtras();
    made = state_.files.makeFolder(folder, pair.name, 0700);
  }
  return made;
}

void CloneUpdate::clearStanding(FolderPair& pair) {
  if (pair.isNew) return;
  repairFolder(pair);
  if (state_.order.removesExtras)
    return removal_.removeExtras(pair.target.get(), pair.targetNames, pair.sourceNames, stack_.path());
  for (std::size_t i = 0; i < pair.targetNames.size(); ++i) {
    const std::string name(pair.targetNames.name(i));
    if (isTemporaryName(name) && !pair.sourceNames.contains(name))
      removal_.remove(pair.target.get(), name, stack_.pathOf(name));
  }
}

// Before anything is written in it, so that nobody gets to see more than the source shows.
void CloneUpdate::repairFolder(FolderPair& pair) {
  if (pair.isNew) return;
  FileCalls& files = state_.files;
  const EntryHandle source{-1, pair.name, pair.source.get()}, target{-1, pair.name, pair.target.get()};
  const std::string& path = pair.name.empty() ? stack_.path() : path_;
  if (isProtected(pair.targetStatus)) (void)unprotectEntry(files, target, FileType::kFolder);
  const auto sameAttributes = haveSameAttributes(files, source, target);
  const MetadataDifference difference = compareMetadata(pair.sourceStatus, pair.targetStatus);
  if (sameAttributes && *sameAttributes && !difference.owner && !difference.mode) return;
  state_.mark.beforeChange(state_.target.root.get());
  auto attributes = readAttributes(files, source);
  if (!attributes) return state_.failed(path, attributes.error());
  const EntryMetadata wanted{pair.sourceStatus, std::move(*attributes)};
  const auto written = writeMetadata(files, target, wanted, pair.targetStatus, false);
  if (!written) return state_.failed(path, written.error());
  ++state_.report.repaired;
  if (state_.order.repairPermissions) state_.said(path, "owner, permissions or attributes were set");
}

void CloneUpdate::leave() {
  FolderPair& pair = stack_.top();
  if (!pair.isLost) {
    if (const auto finished = finishFolder(pair); !finished) state_.failed(stack_.path(), finished.error());
  }
  if (const auto back = stack_.pop(); !back) state_.failed(stack_.path(), back.error());
}

Result<void> CloneUpdate::finishFolder(FolderPair& pair) {
  FileCalls& files = state_.files;
  const EntryHandle source{-1, pair.name, pair.source.get()}, target{-1, pair.name, pair.target.get()};
  if (pair.isNew) {
    EntryMetadata wanted{pair.sourceStatus, {}};
    LUMISK_TRY(wanted.attributes, readAttributes(files, source));
    LUMISK_CHECK(writeMetadata(files, target, wanted, pair.targetStatus, wanted.attributes.empty()));
  } else {
    LUMISK_TRY(const FileStatus standing, files.statusOf(pair.target.get()));
    if (compareMetadata(pair.sourceStatus, standing).date) {
      state_.mark.beforeChange(state_.target.root.get());
      LUMISK_CHECK(files.setModified(pair.target.get(), pair.sourceStatus.modified));
    }
  }
  if (isProtected(pair.sourceStatus)) LUMISK_CHECK(protectEntry(files, target, pair.sourceStatus));
  return {};
}

// On a full target: what goes anyway in the folders that the walk has not reached makes the room that is missing. What
// cannot be opened here is met again by the walk, which tells.
void CloneUpdate::removeAllExtras() {
  extrasAreGone_ = true;
  auto roots = openRoots(state_);
  if (!roots) return;
  FolderStack sweep(state_.files);
  sweep.push(std::move(*roots));
  while (!sweep.isEmpty() && !state_.mustStop()) {
    FolderPair& at = sweep.top();
    if (at.isLost || at.next == at.sourceNames.size()) {
      (void)sweep.pop();
      continue;
    }
    const std::string name(at.sourceNames.name(at.next++));
    if (at.targetNames.find(name) != FileType::kFolder) continue;
    auto below = openBelow(state_, at, name);
    if (!below) continue;
    removal_.removeExtras(below->target.get(), below->targetNames, below->sourceNames, sweep.pathOf(name));
    sweep.push(std::move(*below));
  }
}

}  // namespace lumisk
