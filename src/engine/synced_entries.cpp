#include "engine/synced_entries.h"

#include <algorithm>
#include <cerrno>

#include "engine/small_file.h"
#include "platform/paths.h"
#include "platform/property_list.h"

namespace lumisk {
namespace {

bool isListOfPaths(const PropertyList& list) {
  return list.kind() == PropertyList::Kind::kArray &&
         std::all_of(list.array().begin(), list.array().end(), [](const PropertyList& path) { return path.hasText(); });
}

}  // namespace

Result<void> SyncedEntries::read(int folder) {
  names_.clear();
  others_.clear();
  changed_ = false;
  unreadable_ = false;
  auto bytes = readSmallFile(files_, folder, kSyncedEntriesName);
  if (!bytes && bytes.error().code == ENOENT) return {};
  if (!bytes && isNoSmallFile(bytes.error())) return setAsideSmallFile(files_, folder, kSyncedEntriesName);
  if (!bytes) {
    unreadable_ = true;
    return fail(bytes.error());
  }
  const auto list = parsePropertyList(*bytes);
  if (!list || !isListOfPaths(*list)) return setAsideSmallFile(files_, folder, kSyncedEntriesName);
  for (const PropertyList& entry : list->array()) {
    std::string path = entry.text();
    if (paths::parent(path) == path_)
      names_.insert(paths::lastComponent(path));
    else
      others_.insert(std::move(path));
  }
  return {};
}

void SyncedEntries::addFileToArrayList(const std::string& name) {
  changed_ |= names_.insert(name).second;
}

void SyncedEntries::deleteFileInArrayList(const std::string& name) {
  changed_ |= names_.erase(name) != 0;
}

void SyncedEntries::keepOnly(const std::function<bool(const std::string& name)>& isWanted) {
  changed_ |= std::erase_if(names_, [&](const std::string& name) { return !isWanted(name); }) != 0;
}

void SyncedEntries::takeOverPaths(const std::string& oldPath) {
  for (auto path = others_.begin(); path != others_.end();) {
    if (paths::parent(*path) != oldPath) {
      ++path;
      continue;
    }
    names_.insert(paths::lastComponent(*path));
    path = others_.erase(path);
    changed_ = true;
  }
}

Result<void> SyncedEntries::write(int folder, Durability durability) {
  if (!changed_ || unreadable_) return {};
  PropertyList::Array array;
  array.reserve(names_.size() + others_.size());
  for (const std::string& name : names_) array.emplace_back(paths::join(path_, name));
  array.insert(array.end(), others_.begin(), others_.end());
  std::sort(array.begin(), array.end(),
            [](const PropertyList& a, const PropertyList& b) { return a.text() < b.text(); });
  LUMISK_TRY(const std::string bytes, propertyListToXml(array));
  const auto settled = durability == Durability::kNow ? SmallFileDurability::kNow : SmallFileDurability::kWithTheRun;
  LUMISK_CHECK(replaceSmallFile(files_, folder, kSyncedEntriesName, bytes, settled));
  changed_ = false;
  return {};
}

}  // namespace lumisk
