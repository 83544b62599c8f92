#include "engine/deletion_walk_rules.h"

namespace lumisk {

void DeletionWalkRules::enterFolder(FrameStack& at) {
  const FolderFrame& frame = at.top();
  if (frame.isSingleEntry || frame.destinationState != DestinationState::kStood) return;
  deletion_.syncDirectory({frame.source.get(), at.sourcePath(), frame.sourceNames},
                          {frame.destination.get(), at.destinationPath(), frame.destinationNames});
}

}  // namespace lumisk
