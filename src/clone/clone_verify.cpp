#include "clone/clone_verify.h"

#include "clone/clone_rule.h"
#include "clone/entry_attributes.h"
#include "platform/entry_calls.h"

namespace lumisk {

void CloneVerify::run() {
  auto roots = openRoots(state_);
  if (!roots) return state_.failed("", roots.error());
  compare("", roots->sourceStatus, roots->targetStatus);
  tellExtras(*roots);
  stack_.push(std::move(*roots));
  while (!stack_.isEmpty() && !state_.mustStop()) {
    const FolderPair& pair = stack_.top();
    if (!pair.isLost && pair.next < pair.sourceNames.size()) {
      step();
    } else if (const auto back = stack_.pop(); !back) {
      state_.failed(stack_.path(), back.error());
    }
  }
}

void CloneVerify::differs(const std::string& path, const std::string& how) {
  ++state_.report.differences;
  state_.said(path, how);
}

template <class T>
bool CloneVerify::isRead(const Result<T>& result) {
  if (!result) state_.failed(path_, result.error());
  return result.has_value();
}

void CloneVerify::step() {
  FolderPair& pair = stack_.top();
  const std::string name(pair.sourceNames.name(pair.next++));
  path_ = stack_.pathOf(name);
  state_.lookingAt(path_);
  const auto source = state_.files.status(pair.source.get(), name);
  if (!isRead(source) || !isCarried(source->type)) return;
  if (!pair.targetNames.contains(name)) return differs(path_, "is missing at the target");
  const auto target = state_.files.status(pair.target.get(), name);
  if (!isRead(target)) return;
  if (source->type != target->type) return differs(path_, "is of another type at the target");
  const bool isFolder = source->type == FileType::kFolder;
  if (!isFolder) compareContents(name, *source);
  compare(name, *source, *target);
  if (isFolder && !isOtherFileSystem(*source, state_.source.device)) enter(name);
}

// The roots have no name.
void CloneVerify::compare(const std::string& name, const FileStatus& source, const FileStatus& target) {
  const bool isRoot = name.empty();
  const EntryHandle a{isRoot ? -1 : stack_.top().source.get(), name, isRoot ? state_.source.root.get() : -1};
  const EntryHandle b{isRoot ? -1 : stack_.top().target.get(), name, isRoot ? state_.target.root.get() : -1};
  const MetadataDifference difference = compareMetadata(source, target);
  if (difference.owner) differs(path_, "has another owner or group");
  if (difference.mode) differs(path_, "has other permissions");
  if (difference.date) differs(path_, "has another date");
  if (difference.protection) differs(path_, "is protected in another way");
  if (source.deviceNumber != target.deviceNumber) differs(path_, "is another device");
  const auto sameAttributes = haveSameAttributes(state_.files, a, b);
  if (isRead(sameAttributes) && !*sameAttributes) differs(path_, "has other attributes");
  if (source.type != FileType::kFolder) compareNames(source, target);
}

void CloneVerify::compareNames(const FileStatus& source, const FileStatus& target) {
  if (sharesWithOthers(source, target)) return differs(path_, "is one file with another name");
  if (source.links <= 1) return;
  const auto [at, isFirst] = linked_.emplace(source.identity.inode, target.identity.inode);
  if (!isFirst && at->second != target.identity.inode) differs(path_, "is a file of its own at the target");
}

void CloneVerify::compareContents(const std::string& name, const FileStatus& source) {
  FolderPair& pair = stack_.top();
  FileCalls& files = state_.files;
  if (source.type == FileType::kLink) {
    const auto a = files.readLink(pair.source.get(), name);
    const auto b = files.readLink(pair.target.get(), name);
    if (isRead(a) && isRead(b) && *a != *b) differs(path_, "is a link to something else");
  }
  if (source.type != FileType::kRegular) return;
  const auto a = files.openFile(pair.source.get(), name);
  const auto b = files.openFile(pair.target.get(), name);
  if (!isRead(a) || !isRead(b)) return;
  // What the disk holds is to be read, not what the clone has left in memory.
  entry_calls::forgetCachedData(b->get());
  const auto isSame = content_.isSame(a->get(), b->get());
  if (isRead(isSame) && !*isSame) differs(path_, "has other contents");
}

void CloneVerify::enter(const std::string& name) {
  auto below = openBelow(state_, stack_.top(), name);
  if (!isRead(below)) return;
  stack_.push(std::move(*below));
  tellExtras(stack_.top());
}

void CloneVerify::tellExtras(const FolderPair& pair) {
  if (!state_.order.removesExtras) return;
  for (std::size_t i = 0; i < pair.targetNames.size(); ++i) {
    const auto name = pair.targetNames.name(i);
    if (!pair.sourceNames.contains(name)) differs(stack_.pathOf(name), "is at the target only");
  }
}

}  // namespace lumisk
