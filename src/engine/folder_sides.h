#pragma once

#include "engine/file_copier.h"
#include "engine/folder_frame.h"
#include "engine/run_state.h"

namespace lumisk {

// Fill the sides of a frame from open folders.

// What the folder carries; its names are listed after it, so that a change made meanwhile is found by the next run.
Result<void> takeSource(const RunState& run, FolderFrame& frame, Descriptor folder);
Result<void> listSource(FileCalls& files, FolderFrame& frame);
// A folder that stood before, listed whole.
Result<void> takeStanding(FileCalls& files, FolderFrame& frame, Descriptor folder);
// One that this run has just made, in a folder whose entries start bare or not.
void takeMade(FolderFrame& frame, FileCopier::MadeFolder made, bool startedBare);

}  // namespace lumisk
