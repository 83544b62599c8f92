#include "engine/deletion_walk_rules.h"

#include "engine/folder_sides.h"

namespace lumisk {

void DeletionWalkRules::enterFolder(FrameStack& at) {
  FolderFrame& frame = at.top();
  if (frame.isSingleEntry || frame.destinationState != DestinationState::kStood) return;
  deletion_.syncDirectory({frame.source.get(), at.sourcePath(), frame.sourceNames},
                          {frame.destination.get(), at.destinationPath(), frame.destinationNames},
                          [&] { prepareForWriting(files_, frame); });
}

}  // namespace lumisk
