#include "engine/folder_flags.h"

#include "engine/small_file.h"
#include "platform/paths.h"
#include "platform/property_list.h"

namespace lumisk {

Result<std::map<std::string, std::string>> FolderFlags::read(int folder) {
  std::map<std::string, std::string> flags;
  const auto bytes = readSmallFile(files_, folder, kFolderFlagName);
  if (!bytes && isNoSmallFile(bytes.error())) return flags;
  if (!bytes) return fail(bytes.error());
  const auto list = parsePropertyList(*bytes);
  if (!list) return flags;
  for (const auto& [uuid, path] : list->dictionary())
    if (path.hasText()) flags[uuid] = path.text();
  return flags;
}

Result<FolderState> FolderFlags::checkTheFolderStateAtPath(int folder) {
  LUMISK_TRY(const auto flags, read(folder));
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
  LUMISK_TRY(const auto others, read(folder));
  for (const auto& [uuid, path] : others) dictionary[uuid] = path;
  dictionary[uuid_] = path_;
  LUMISK_TRY(const std::string bytes, propertyListToXml(dictionary));
  return replaceSmallFile(files_, folder, kFolderFlagName, bytes, SmallFileDurability::kWithTheRun);
}

}  // namespace lumisk
