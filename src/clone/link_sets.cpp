#include "clone/link_sets.h"

namespace lumisk {

std::optional<LinkSets::Place> LinkSets::find(const FileStatus& source) const {
  const auto at = firsts_.find(source.identity.inode);
  if (at == firsts_.end() || at->second.content != contentOf(source)) return std::nullopt;
  const First& first = at->second;
  return Place{folders_[first.folder], first.name, {targetDevice_, first.inode}};
}

bool LinkSets::isTaken(const FileIdentity& target, const FileStatus& source) const {
  const auto at = takenBy_.find(target.inode);
  return at != takenBy_.end() && at->second != source.identity.inode;
}

void LinkSets::met(const FileStatus& source, const Place& target, bool stoodBefore) {
  if (source.links <= 1) return;
  targetDevice_ = target.identity.device;
  if (stoodBefore) takenBy_[target.identity.inode] = source.identity.inode;
  const auto at = firsts_.find(source.identity.inode);
  if (at == firsts_.end() || at->second.content != contentOf(source) || at->second.inode != target.identity.inode) {
    firsts_[source.identity.inode] =
        First{contentOf(source), numberOf(target.folder), target.name, target.identity.inode};
    return;
  }
  if (++at->second.met < source.links) return;
  firsts_.erase(at);
  if (firsts_.empty()) folders_.clear();
}

std::uint32_t LinkSets::numberOf(const std::string& folder) {
  if (folders_.empty() || folders_.back() != folder) folders_.push_back(folder);
  return static_cast<std::uint32_t>(folders_.size() - 1);
}

}  // namespace lumisk
