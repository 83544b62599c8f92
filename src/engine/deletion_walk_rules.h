#pragma once

#include "engine/auto_deletion.h"
#include "engine/walk_rules.h"

namespace lumisk {

// The walk of a backup that follows deletions: each folder of the target that stood before loses what its source folder
// does not have, before the walk looks at its entries.
class DeletionWalkRules : public NoWalkRules {
 public:
  explicit DeletionWalkRules(AutoDeletion& deletion) : deletion_(deletion) {}
  void enterFolder(FrameStack& at) override;

 private:
  AutoDeletion& deletion_;
};

}  // namespace lumisk
