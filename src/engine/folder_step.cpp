#include "engine/folder_step.h"

#include <cerrno>

#include "engine/destination_lookup.h"
#include "engine/folder_metadata.h"
#include "engine/folder_sides.h"
#include "engine/type_filter.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

bool isBefore(const FileTime& time, WallTime moment) {
  const auto since = std::chrono::duration_cast<std::chrono::nanoseconds>(moment.time_since_epoch());
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  return time < FileTime{seconds.count(), static_cast<std::uint32_t>((since - seconds).count())};
}

}  // namespace

// In.

void FolderStep::enter(WalkEntry& entry) {
  const std::string& name = entry.name;
  if (const char* reason = whyNotWalked(name)) return walk_.report.skipped(name, reason);
  const bool isPackage = workspace::isPackageName(name);
  if (isPackage && isPackageFiltered(name)) return walk_.report.filtered(name);
  if (walk_.rules.passesBy(walk_.stack, name)) return;
  FolderFrame child = walk_.ahead.take(walk_.stack, name);
  child.layer = walk_.stack.top().layer - 1;
  child.isPackageUnit = isPackage && run_.info.bDealPackage;
  if (!openSource(child, entry)) return;
  entry.source = child.sourceStatus();
  if (!openDestination(child, entry)) return;
  if (run_.m_nFilterCount == 0) walk_.record(name, entry.destinationName);
  if (child.isPackageUnit) ++run_.m_nFilterCount;
  // What the stack closes now may be in use.
  if (walk_.stack.depth() > FrameStack::kOpenLevels) walk_.copies.drain();
  walk_.stack.push(std::move(child), name, entry.destinationName);
  entered();
}

// Users see a package as one file, so the filter takes it for one; what is inside goes with it.
bool FolderStep::isPackageFiltered(const std::string& name) const {
  return run_.m_nFilterCount == 0 && !fileTypeFilter(name, run_.info.inclusionArray, run_.info.exclusionArray);
}

bool FolderStep::openSource(FolderFrame& child, const WalkEntry& entry) {
  const FileIdentity parent = walk_.stack.top().sourceStatus().identity;
  const bool isRead = child.source.isOpen();
  auto read = isRead ? Result<void>() : readSource(child, entry.name);
  const char* border = read ? walk_.borders.whyNotWalked(child.sourceStatus(), entry.name, parent) : nullptr;
  if (border) {
    walk_.report.notWalked(entry.name, border);
    return false;
  }
  if (read && !isRead) read = listSource(run_.files, child);
  if (read) return true;
  walk_.hasVanished(entry.name, read.error()) ? walk_.report.vanished(entry.name)
                                              : walk_.report.sourceFailed(entry.name, read.error());
  return false;
}

Result<void> FolderStep::readSource(FolderFrame& child, const std::string& name) {
  LUMISK_TRY(Descriptor folder, run_.files.openFolder(walk_.stack.top().source.get(), name));
  return takeSource(run_, child, std::move(folder));
}

bool FolderStep::openDestination(FolderFrame& child, WalkEntry& entry) {
  if (const auto opened = openStanding(child, entry); !opened) {
    cannotOpen(entry, opened.error());
    return false;
  }
  if (child.destination.isOpen() &&
      walk_.borders.isHomeTrash(child.destinationStatus.identity, entry.destinationName)) {
    walk_.report.notWalked(entry.name, "trash");
    return false;
  }
  const WalkVerdict verdict = walk_.rules.folderFound(walk_.stack, entry);
  if (verdict == WalkVerdict::kSettled) return false;
  if (verdict == WalkVerdict::kLookAgain) {
    const auto found = takeFolderThere(child, entry);
    if (!found) walk_.report.destinationFailed(entry.name, found.error());
    return found.has_value();
  }
  return child.destination.isOpen() || makeDestination(child, entry);
}

void FolderStep::cannotOpen(const WalkEntry& entry, const Error& error) {
  error.code == kNamesClash ? walk_.report.clash(entry, error.path) : walk_.report.destinationFailed(entry.name, error);
}

// Leaves the destination closed when no folder stands there; entry.standing tells what does. In a folder that this run
// has made a name is taken only where it folds to another one, which making the folder finds out.
Result<void> FolderStep::openStanding(FolderFrame& child, WalkEntry& entry) {
  FolderFrame& frame = walk_.stack.top();
  const bool isListed = frame.destinationNames.find(entry.name) == FileType::kFolder;
  entry.destinationName = entry.name;
  entry.standing.reset();
  if (frame.destinationState == DestinationState::kNew) return {};
  if (!isListed) LUMISK_CHECK(lookUpDestination(run_.files, frame, entry));
  if (!isListed && (!entry.standing || entry.standing->type != FileType::kFolder)) return {};
  const auto taken = takeFolderThere(child, entry);
  if (!taken && taken.error().code == ENOENT) {
    entry.standing.reset();  // removed since it was listed
    return {};
  }
  return taken;
}

Result<void> FolderStep::takeFolderThere(FolderFrame& child, WalkEntry& entry) {
  if (!child.destination.isOpen()) {
    LUMISK_TRY(Descriptor folder, run_.files.openFolder(walk_.stack.top().destination.get(), entry.destinationName));
    LUMISK_CHECK(takeStanding(run_.files, child, std::move(folder)));
  }
  entry.standing = child.destinationStatus;
  if (child.destinationStatus.identity == child.sourceStatus().identity)
    return fail("walk", entry.name, 0, "it is its own destination");
  return {};
}

bool FolderStep::makeDestination(FolderFrame& child, WalkEntry& entry) {
  const auto made = run_.dryRun ? Result<void>() : makeFolder(child, entry);
  const bool isTaken = !made && made.error().code == EEXIST && !entry.standing;
  if (isTaken && walk_.stack.top().destinationState == DestinationState::kNew) return makeWhereTaken(child, entry);
  return noteMade(entry, made);
}

bool FolderStep::makeWhereTaken(FolderFrame& child, WalkEntry& entry) {
  const auto found = lookUpUnlisted(run_.files, walk_.stack.top(), entry);
  if (found && entry.standing && entry.standing->type != FileType::kFolder)
    return noteMade(entry, makeFolder(child, entry));
  const auto taken = found ? takeFolderThere(child, entry) : found;
  if (!taken) cannotOpen(entry, taken.error());
  return taken.has_value();
}

bool FolderStep::noteMade(const WalkEntry& entry, const Result<void>& made) {
  if (made) {
    walk_.report.outcome(EntryOutcome::kFolderMade, entry.name, entry.standing ? "not a folder there" : "new");
    return true;
  }
  walk_.report.creationFailed(walk_.stack.destinationPlace(entry.destinationName).path, made.error());
  walk_.report.outcome(EntryOutcome::kFailed, entry.name, "folder");
  return false;
}

Result<void> FolderStep::makeFolder(FolderFrame& child, const WalkEntry& entry) {
  walk_.beforeWriting();
  if (entry.standing) walk_.copies.drain();
  const bool startsBare = walk_.entriesStartBare();
  FolderFrame& parent = walk_.stack.top();
  LUMISK_TRY(auto made, walk_.copier.createMacintoshDirectory(walk_.stack.destinationPlace(entry.destinationName),
                                                              entry.standing, child.sourceInfo, parent.folderAsMade));
  walk_.wroteAnything = true;
  if (startsBare) parent.folderAsMade = made.status;
  takeMade(child, std::move(made), startsBare);
  return {};
}

void FolderStep::entered() {
  walk_.ahead.entered(walk_.stack);
  if (!run_.dryRun) removeLeftovers();
  walk_.rules.enterFolder(walk_.stack);
}

// Of copies that were cut short. Not those of a run that is at work: other jobs may write here, too.
void FolderStep::removeLeftovers() {
  const NameList& names = walk_.stack.top().destinationNames;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!names.name(i).starts_with('.')) continue;
    const std::string name(names.name(i));
    if (isTemporaryName(name)) removeLeftover(name);
  }
}

void FolderStep::removeLeftover(const std::string& name) {
  const FolderFrame& frame = walk_.stack.top();
  const auto status = run_.files.status(frame.destination.get(), name);
  if (!status || !isBefore(status->changed, run_.begin)) return;
  const bool isFolder = status->type == FileType::kFolder;
  if (!isFolder && status->type != FileType::kRegular && status->type != FileType::kLink) return;
  walk_.beforeWriting();
  // One that cannot be removed, a folder that holds something among them, does no harm.
  const int folder = frame.destination.get();
  const auto removed = isFolder ? run_.files.removeFolder(folder, name) : run_.files.removeFile(folder, name);
  if (removed) walk_.wroteInto(frame.destination, frame.destinationStatus);
}

// Out.

void FolderStep::leave() {
  const FolderFrame& frame = walk_.stack.top();
  walk_.ahead.leaving();
  if (!walk_.rules.letsCopiesLag() || walk_.stack.depth() == 1) walk_.copies.drain();
  walk_.rules.leaveFolder(walk_.stack);
  if (!frame.isLost) walk_.copies.then([this] { settleFolderMetadata(walk_); });
  if (frame.isPackageUnit) --run_.m_nFilterCount;
  const auto back = walk_.stack.pop();
  if (!back) walk_.report.comeBackFailed(walk_.stack.sourcePath(), back.error());
}

}  // namespace lumisk
