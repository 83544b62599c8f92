#include "clone/folder_stack.h"

#include <algorithm>
#include <cerrno>

#include "clone/clone_rule.h"

namespace lumisk {
namespace {

Result<NameList> listRoot(FileCalls& files, int root) {
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(files.listFolder(root, entries));
  std::erase_if(entries, [](const FolderEntry& entry) { return entry.name == "lost+found"; });
  return NameList(entries);
}

}  // namespace

void FolderStack::push(FolderPair pair) {
  if (!pairs_.empty()) path_ = pathOf(pair.name);
  pairs_.push_back(std::move(pair));
  if (pairs_.size() <= kOpenLevels) return;
  FolderPair& far = pairs_[pairs_.size() - 1 - kOpenLevels];
  far.source.reset();
  far.target.reset();
}

Result<void> FolderStack::pop() {
  const FolderPair left = std::move(pairs_.back());
  pairs_.pop_back();
  if (pairs_.empty()) return {};
  path_.resize(path_.size() - std::min(path_.size(), left.name.size() + 1));
  FolderPair& pair = pairs_.back();
  if (pair.source.isOpen() && pair.target.isOpen()) return {};
  pair.isLost = true;
  LUMISK_TRY(pair.source, openSameParent(files_, left.source.get(), pair.sourceStatus.identity));
  LUMISK_TRY(pair.target, openSameParent(files_, left.target.get(), pair.targetStatus.identity));
  pair.isLost = false;
  return {};
}

std::string FolderStack::pathOf(std::string_view name) const {
  std::string path = path_;
  if (!path.empty()) path += '/';
  return path += name;
}

Result<FolderPair> openRoots(CloneState& state) {
  FileCalls& files = state.files;
  FolderPair roots;
  LUMISK_TRY(roots.source, files.duplicate(state.source.root.get()));
  LUMISK_TRY(roots.target, files.duplicate(state.target.root.get()));
  LUMISK_TRY(roots.sourceStatus, files.statusOf(roots.source.get()));
  LUMISK_TRY(roots.targetStatus, files.statusOf(roots.target.get()));
  LUMISK_TRY(roots.sourceNames, listRoot(files, roots.source.get()));
  LUMISK_TRY(roots.targetNames, listRoot(files, roots.target.get()));
  return roots;
}

Result<FolderPair> openBelow(CloneState& state, const FolderPair& above, const std::string& name) {
  FileCalls& files = state.files;
  FolderPair pair;
  pair.name = name;
  LUMISK_TRY(pair.source, files.openFolder(above.source.get(), name));
  LUMISK_TRY(pair.target, files.openFolder(above.target.get(), name));
  LUMISK_TRY(pair.sourceStatus, files.statusOf(pair.source.get()));
  LUMISK_TRY(pair.targetStatus, files.statusOf(pair.target.get()));
  if (isOtherFileSystem(pair.sourceStatus, state.source.device) ||
      isOtherFileSystem(pair.targetStatus, state.target.device))
    return fail("enter", name, EXDEV);
  LUMISK_TRY(pair.sourceNames, listNames(files, pair.source.get()));
  LUMISK_TRY(pair.targetNames, listNames(files, pair.target.get()));
  return pair;
}

Result<Descriptor> openSameParent(FileCalls& files, int folder, const FileIdentity& expected) {
  LUMISK_TRY(Descriptor parent, files.openParent(folder));
  LUMISK_TRY(const FileStatus status, files.statusOf(parent.get()));
  if (status.identity != expected) return fail("come back to the folder", "", ESTALE);
  return parent;
}

}  // namespace lumisk
