#include "engine/hard_link_map.h"

namespace lumisk {

std::optional<HardLinkMap::Copy> HardLinkMap::find(const FileStatus& source) const {
  const auto at = firsts_.find(source.identity);
  if (at == firsts_.end() || at->second.content != contentOf(source)) return std::nullopt;
  const First& first = at->second;
  const auto& [root, folder] = folders_[first.folder];
  return Copy{root, folder, first.name, first.identity};
}

void HardLinkMap::met(const FileStatus& source, const Copy& copy) {
  const auto at = firsts_.find(source.identity);
  if (at == firsts_.end() || at->second.content != contentOf(source)) {
    firsts_[source.identity] = First{contentOf(source), folderNumber(copy), copy.name, copy.identity};
    return;
  }
  if (++at->second.met < source.links) return;
  firsts_.erase(at);
  if (firsts_.empty()) folders_.clear();
}

std::uint32_t HardLinkMap::folderNumber(const Copy& copy) {
  if (folders_.empty() || folders_.back() != std::pair(copy.root, copy.folder))
    folders_.emplace_back(copy.root, copy.folder);
  return static_cast<std::uint32_t>(folders_.size() - 1);
}

}  // namespace lumisk
