#pragma once

#include <string>

#include "clone/clone_state.h"
#include "clone/entry_writer.h"
#include "clone/folder_stack.h"
#include "clone/tree_removal.h"

namespace lumisk {

// The walk of a clone: makes the target's tree what the source's is, folder by folder. In each, what the source does
// not have goes first, so that a full target can take what it gets. A folder that cannot be listed whole, on either
// side, is an error and loses nothing. Stops within one chunk of a cancel.
class CloneUpdate {
 public:
  explicit CloneUpdate(CloneState& state)
      : state_(state), removal_(state), writer_(state, removal_), stack_(state.files) {}

  void run();

 private:
  void step();
  void carry(const ClonedEntry& entry);
  void enter(const std::string& name, const std::optional<FileStatus>& target);
  Result<FolderPair> openPair(const std::string& name, std::optional<FileStatus> target, bool& isBorder);
  Result<void> openTarget(FolderPair& pair, std::optional<FileStatus> target);
  Result<void> makeFolder(FolderPair& pair);
  void sayWhatIsLeftOut(const FileStatus& border, const std::string& path);
  void clearStanding(FolderPair& pair);
  void repairFolder(FolderPair& pair);
  void leave();
  Result<void> finishFolder(FolderPair& pair);
  void removeAllExtras();

  CloneState& state_;
  TreeRemoval removal_;
  EntryWriter writer_;
  FolderStack stack_;
  std::string name_, path_;  // of the entry that the walk is at
  bool extrasAreGone_ = false;
};

}  // namespace lumisk
