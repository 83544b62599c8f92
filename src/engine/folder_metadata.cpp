#include "engine/folder_metadata.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kCoarsestDates = 2s;

// Dates that differ by no more than the target's file system cuts off are the same.
bool isSame(WalkState& walk, CatalogInfo source, const CatalogInfo& standing) {
  if (sameCatalogInfo(standing, source)) return true;
  const FileTime date = source.status.modified;
  source.status.modified = standing.status.modified;
  return date != standing.status.modified && isCloserThan(kCoarsestDates, date, standing.status.modified) &&
         sameCatalogInfo(standing, source) && isCloserThan(walk.granularity(), date, standing.status.modified);
}

bool wasLeftAlone(const WalkState& walk, const FolderFrame& frame) {
  return frame.destinationState == DestinationState::kStood && !frame.isReadyForWriting &&
         !walk.rules.writesIntoFolders();
}

// What the destination has at the moment, as far as this run has not made it so itself.
Result<CatalogInfo> standingInfo(const WalkState& walk, const FolderFrame& frame) {
  const int folder = frame.destination.get();
  if (wasLeftAlone(walk, frame)) return readCatalogInfo(walk.run.files, folder, frame.destinationStatus);
  if (frame.destinationState != DestinationState::kNew || frame.entriesStartBare != true)
    return readCatalogInfo(walk.run.files, folder);
  CatalogInfo info;
  info.status = frame.destinationStatus;
  info.status.modified = kUnknownDate;  // entries have been made in it
  return info;
}

bool giveMetadata(WalkState& walk, const FolderFrame& frame) {
  FileCalls& files = walk.run.files;
  const int folder = frame.destination.get();
  const std::string& path = walk.stack.destinationPath();
  const auto standing = standingInfo(walk, frame);
  if (!standing) {
    walk.report.attributesFailed(path, standing.error());
    return false;
  }
  if (isSame(walk, frame.sourceInfo, *standing)) return true;
  if (!walk.copier.copyMacintoshFinderInfo(frame.sourceInfo, folder, path, &*standing)) {
    walk.report.metadataFailed(path);
    return false;
  }
  if (frame.destinationState == DestinationState::kNew) return true;  // noted when it was made
  // A target that cannot hold what differs is not written to, however often it is tried.
  const auto after = files.statusOf(folder);
  if (!after || after->changed != standing->status.changed) walk.wroteInto(frame.destination, standing->status);
  return true;
}

void giveDate(WalkState& walk, const FolderFrame& frame) {
  FileCalls& files = walk.run.files;
  const FileTime date = frame.sourceInfo.status.modified;
  const auto standing = wasLeftAlone(walk, frame) ? frame.destinationStatus : files.statusOf(frame.destination.get());
  if (!standing || standing->modified == date) return;
  if (!files.setModified(frame.destination.get(), date))
    return walk.report.metadataFailed(walk.stack.destinationPath());
  walk.wroteInto(frame.destination, *standing);
}

}  // namespace

void settleFolderMetadata(WalkState& walk) {
  const FolderFrame& frame = walk.stack.top();
  if (walk.run.dryRun || !frame.destination.isOpen()) return;
  if (frame.metadata == FolderMetadata::kFromSource && giveMetadata(walk, frame)) return;
  if (frame.metadata == FolderMetadata::kDateOnly) giveDate(walk, frame);
  if (!frame.wasMadeWritable) return;
  const auto restored = walk.run.files.setMode(frame.destination.get(), frame.destinationStatus.mode);
  if (!restored) walk.report.metadataFailed(walk.stack.destinationPath());
}

}  // namespace lumisk
