#pragma once

#include <optional>
#include <string>

#include "clone/clone_state.h"
#include "clone/content_copy.h"
#include "clone/entry_metadata.h"
#include "clone/folder_stack.h"
#include "clone/link_sets.h"
#include "clone/tree_removal.h"

namespace lumisk {

// An entry, no folder, of the pair of folders that the walk is in.
struct ClonedEntry {
  FolderPair& pair;
  const std::string& name;
  const std::string& folder;  // its path below the root
  const std::string& path;
  FileStatus source;
  std::optional<FileStatus> target;  // proven absent when empty
};

// Makes the target's entry what the source's is. What stands there is replaced by one rename, when its successor is
// complete; only in folders that this clone made are files written under their own names, since nothing is lost there
// and the folder is nobody's but root's until it is complete.
class EntryWriter {
 public:
  EntryWriter(CloneState& state, TreeRemoval& removal) : state_(state), removal_(removal), content_(state) {}

  Result<void> carry(const ClonedEntry& entry);

 private:
  class NewEntry;
  Result<bool> hasSameContent(const ClonedEntry& entry);
  Result<bool> compareFiles(const ClonedEntry& entry);
  Result<void> keep(const ClonedEntry& entry);
  Result<void> repair(const ClonedEntry& entry);
  Result<void> make(const ClonedEntry& entry);
  Result<void> makeFile(const ClonedEntry& entry, NewEntry& made);
  Result<void> fillFile(const ClonedEntry& entry, int source, const std::string& name, int file);
  Result<void> makeOther(const ClonedEntry& entry, NewEntry& made);
  Result<void> link(const ClonedEntry& entry, const LinkSets::Place& first);
  Result<void> tryLink(const ClonedEntry& entry, const LinkSets::Place& first);
  Result<void> linkUnder(const ClonedEntry& entry, const LinkSets::Place& first, NewEntry& made);
  Result<void> putInPlace(const ClonedEntry& entry, const std::string& name);
  Result<int> openFolderOf(const ClonedEntry& entry, const LinkSets::Place& place);
  Result<void> checkRoom(const ClonedEntry& entry);
  void met(const ClonedEntry& entry, const FileIdentity& identity, bool stoodBefore);

  CloneState& state_;
  TreeRemoval& removal_;
  ContentCopy content_;
  LinkSets links_;
  Descriptor linkFolder_;  // the one that was opened last for a further name
  std::string linkFolderPath_;
  bool wasFull_ = false;
};

}  // namespace lumisk
