#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "clone/clone_state.h"
#include "platform/name_list.h"

namespace lumisk {

// A folder of the source and the one that stands for it at the target.
struct FolderPair {
  Descriptor source;  // both are closed while the walk is far below
  Descriptor target;
  FileStatus sourceStatus;  // from before its entries were read
  FileStatus targetStatus;
  NameList sourceNames;
  NameList targetNames;  // empty when new
  std::size_t next = 0;  // of the source's names
  bool isNew = false;    // the target's folder was made by this clone
  bool isLost = false;   // could not be opened again: nothing more is done in it
  std::string name;
};

// The pairs from the roots down to where a walk is. Only the lowest levels keep their descriptors; the others are
// opened again on the way back, as parents of what is open, and only if they are the same folders as before. So trees
// may be deeper than there are descriptors.
class FolderStack {
 public:
  explicit FolderStack(FileCalls& files) : files_(files) {}

  void push(FolderPair pair);
  // Back to the folder above; true, also when nothing is above it. On failure that one is lost.
  Result<void> pop();
  [[nodiscard]] bool isEmpty() const { return pairs_.empty(); }
  [[nodiscard]] bool isAtRoot() const { return pairs_.size() == 1; }
  [[nodiscard]] FolderPair& top() { return pairs_.back(); }
  // Below the roots: "" of the roots themselves, "a/b" of an entry.
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string pathOf(std::string_view name) const;

 private:
  static constexpr std::size_t kOpenLevels = 32;

  FileCalls& files_;
  std::deque<FolderPair> pairs_;
  std::string path_;
};

// The two roots as a pair, listed; `lost+found` belongs to each file system's own repair and is in neither list.
Result<FolderPair> openRoots(CloneState& state);
// A folder that both sides have, below an open pair, listed. EXDEV where another file system begins, on either side.
Result<FolderPair> openBelow(CloneState& state, const FolderPair& above, const std::string& name);
// An open folder's parent, when it is still the one that is expected.
Result<Descriptor> openSameParent(FileCalls& files, int folder, const FileIdentity& expected);

}  // namespace lumisk
