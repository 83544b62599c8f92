#include "engine/folder_flags.h"

#include "engine/small_file.h"
#include "platform/paths.h"
#include "platform/property_list.h"

namespace lumisk {

std::map<std::string, std::string> FolderFlags::read(int folder) {
  std::map<std::string, std::string> flags;
  const auto bytes = readSmallFile(files_, folder, kFolderFlagName);
  if (!bytes) return flags;
  const auto list = parsePropertyList(*bytes);
  if (!list) return flags;
  for (const auto& [uuid, path] : list->dictionary())
    if (path.hasText()) flags[uuid] = path.text();
  return flags;
}

FolderState FolderFlags::checkTheFolderStateAtPath(int folder) {
  const auto flags = read(folder);
  const auto flag = flags.find(uuid_);
  if (flag == flags.end() || flag->second.empty()) return FolderState::kNew;
  originalPath_ = flag->second;
  return originalPath_ == path_ ? FolderState::kKnown : FolderState::kRenamed;
}

std::string FolderFlags::getOrginalFolderNameAtPath() const {
  return paths::lastComponent(originalPath_);
}

Result<void> FolderFlags::createFolderFlagFileAtPath(int folder) {
  PropertyList::Dictionary dictionary;
  for (const auto& [uuid, path] : read(folder)) dictionary[uuid] = path;
  dictionary[uuid_] = path_;
  LUMISK_TRY(const std::string bytes, propertyListToXml(dictionary));
  return replaceSmallFile(files_, folder, kFolderFlagName, bytes, SmallFileDurability::kWithTheRun);
}

}  // namespace lumisk
