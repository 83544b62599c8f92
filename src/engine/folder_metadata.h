#pragma once

#include "engine/walk_state.h"

namespace lumisk {

// Gives the destination folder that the walk leaves the dates, permissions and attributes of its source, where they
// differ; takes back what the walk allowed itself there. Errors are logged and counted.
void settleFolderMetadata(WalkState& walk);

}  // namespace lumisk
