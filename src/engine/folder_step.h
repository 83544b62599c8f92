#pragma once

#include <string>

#include "engine/walk_state.h"

namespace lumisk {

// The steps of a walk into a sub-folder and out of it again. Errors are logged and counted; a folder that cannot be
// opened or listed whole, on either side, is not entered.
class FolderStep {
 public:
  explicit FolderStep(WalkState& walk) : walk_(walk), run_(walk.run) {}

  // A sub-folder of the source, entry.name; at the destination it is made when it is missing.
  void enter(WalkEntry& entry);
  // When the stack has a new top.
  void entered();
  // Out of the pair that the walk is in.
  void leave();

 private:
  [[nodiscard]] bool isPackageFiltered(const std::string& name) const;
  bool openSource(FolderFrame& child, const WalkEntry& entry);
  Result<void> readSource(FolderFrame& child, const std::string& name);
  bool openDestination(FolderFrame& child, WalkEntry& entry);
  void cannotOpen(const WalkEntry& entry, const Error& error);
  Result<void> openStanding(FolderFrame& child, WalkEntry& entry);
  Result<void> takeFolderThere(FolderFrame& child, WalkEntry& entry);
  bool makeDestination(FolderFrame& child, WalkEntry& entry);
  bool makeWhereTaken(FolderFrame& child, WalkEntry& entry);
  bool noteMade(const WalkEntry& entry, const Result<void>& made);
  Result<void> makeFolder(FolderFrame& child, const WalkEntry& entry);
  void removeLeftovers();
  void removeLeftover(const std::string& name);

  WalkState& walk_;
  RunState& run_;
};

}  // namespace lumisk
