#include "platform/name_list.h"

#include <algorithm>

namespace lumisk {

NameList::NameList(const std::vector<FolderEntry>& entries) {
  std::size_t bytes = 0;
  for (const FolderEntry& entry : entries) bytes += entry.name.size();
  text_.reserve(bytes);
  slots_.reserve(entries.size());
  for (const FolderEntry& entry : entries) {
    slots_.push_back(
        {static_cast<std::uint32_t>(text_.size()), static_cast<std::uint16_t>(entry.name.size()), entry.type});
    text_ += entry.name;
  }
  std::sort(slots_.begin(), slots_.end(), [this](const Slot& a, const Slot& b) { return nameOf(a) < nameOf(b); });
}

std::optional<FileType> NameList::find(std::string_view name) const {
  const auto at = std::lower_bound(slots_.begin(), slots_.end(), name,
                                   [this](const Slot& slot, std::string_view wanted) { return nameOf(slot) < wanted; });
  if (at == slots_.end() || nameOf(*at) != name) return std::nullopt;
  return at->type;
}

Result<NameList> listNames(FileCalls& files, int folder) {
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(files.listFolder(folder, entries));
  return NameList(entries);
}

}  // namespace lumisk
