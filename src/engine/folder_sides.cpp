#include "engine/folder_sides.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kOwnerEnters = 0100;
constexpr std::uint32_t kOwnerWrites = 0200;

}  // namespace

Result<void> takeSource(const RunState& run, FolderFrame& frame, Descriptor folder) {
  if (run.dryRun) {
    LUMISK_TRY(frame.sourceInfo.status, run.files.statusOf(folder.get()));
  } else {
    LUMISK_TRY(frame.sourceInfo, readCatalogInfo(run.files, folder.get()));
  }
  frame.source = std::move(folder);
  return {};
}

Result<void> listSource(FileCalls& files, FolderFrame& frame) {
  LUMISK_TRY(frame.sourceNames, listNames(files, frame.source.get()));
  return {};
}

Result<void> takeStanding(FileCalls& files, FolderFrame& frame, Descriptor folder) {
  LUMISK_TRY(frame.destinationStatus, files.statusOf(folder.get()));
  LUMISK_TRY(frame.destinationNames, listNames(files, folder.get()));
  frame.destination = std::move(folder);
  frame.destinationState = DestinationState::kStood;
  return {};
}

Result<void> takeMade(FileCalls& files, FolderFrame& frame, Descriptor folder) {
  LUMISK_TRY(frame.destinationStatus, files.statusOf(folder.get()));
  frame.destination = std::move(folder);
  frame.destinationState = DestinationState::kNew;
  return {};
}

// Where the change of mode is refused the folder is not ours, and we may have the right to write by other ways.
void prepareForWriting(FileCalls& files, FolderFrame& frame) {
  if (frame.isReadyForWriting) return;
  frame.isReadyForWriting = true;
  constexpr std::uint32_t kNeeded = kOwnerEnters | kOwnerWrites;
  const std::uint32_t mode = frame.destinationStatus.mode;
  if ((mode & kNeeded) == kNeeded) return;
  frame.wasMadeWritable = files.setMode(frame.destination.get(), mode | kNeeded).has_value();
}

}  // namespace lumisk
