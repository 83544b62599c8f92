#include "engine/folder_sides.h"

namespace lumisk {

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

// What starts bare gives nothing on to what is made in it.
void takeMade(FolderFrame& frame, FileCopier::MadeFolder made, bool startedBare) {
  frame.destination = std::move(made.folder);
  frame.destinationStatus = made.status;
  frame.destinationState = DestinationState::kNew;
  if (startedBare) frame.entriesStartBare = true;
}

}  // namespace lumisk
