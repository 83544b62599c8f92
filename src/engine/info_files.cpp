#include "engine/info_files.h"

#include <cerrno>

#include "engine/small_file.h"
#include "platform/temporary_name.h"

namespace lumisk {
namespace {

constexpr std::string_view kSourcePrefix = "_SSSQelLumiskinfo_";
constexpr std::string_view kTargetPrefix = "_XXXQelLumiskinfo_";
constexpr std::size_t kLongestName = 60;  // characters

std::string_view prefixOf(InfoFileKind kind) {
  return kind == InfoFileKind::kSource ? kSourcePrefix : kTargetPrefix;
}

// The first characters of a text; a byte that is no UTF-8 counts as one.
std::string_view firstCharacters(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  while (count-- > 0 && end < text.size()) {
    const bool isLead = static_cast<unsigned char>(text[end]) >= 0xC0;
    const std::size_t longest = isLead ? end + 4 : end + 1;
    ++end;
    while (end < text.size() && end < longest && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
  }
  return text.substr(0, end);
}

// For a folder where the plain name belongs to another job.
std::string markedName(InfoFileKind kind, const InfoFile& info) {
  const std::string mark = "~" + info.uuid.substr(0, 8);
  return std::string(firstCharacters(infoFileName(kind, info.name), kLongestName - mark.size())) + mark;
}

PropertyList::Array arrayOf(const std::vector<std::string>& texts) {
  return {texts.begin(), texts.end()};
}

PropertyList contentOf(const InfoFile& info) {
  return PropertyList::Dictionary{{"name", info.name},
                                  {"sourcePath", arrayOf(info.sourcePath)},
                                  {"destinationPath", arrayOf(info.destinationPath)},
                                  {"uuid", info.uuid}};
}

// kNone for what is no property list.
Result<PropertyList> readContent(FileCalls& files, int folder, const std::string& name) {
  LUMISK_TRY(const std::string bytes, readSmallFile(files, folder, name));
  const auto content = parsePropertyList(bytes);
  return content ? *content : PropertyList{};
}

// Another user's, or no file at all: not the one that is looked for.
bool cannotBeOurs(const Error& error) {
  return error.code == EACCES || error.code == ENOENT || error.code == ELOOP || error.code == EINVAL;
}

Result<std::string> nameForNew(FileCalls& files, int folder, InfoFileKind kind, const InfoFile& info) {
  std::string name = infoFileName(kind, info.name);
  const auto standing = files.status(folder, name);
  if (standing) return markedName(kind, info);
  if (standing.error().code != ENOENT) return fail(standing.error());
  return name;
}

// Of writings that were cut short. The target's lock keeps other runs away, and no walk comes here.
void removeLeftovers(FileCalls& files, int target) {
  std::vector<FolderEntry> entries;
  if (!files.listFolder(target, entries)) return;
  for (const FolderEntry& entry : entries)
    if (isTemporaryName(entry.name)) (void)files.removeFile(target, entry.name);
}

Result<void> writeContent(FileCalls& files, int folder, const std::string& name, InfoFileKind kind,
                          const InfoFile& info) {
  if (kind == InfoFileKind::kTarget) removeLeftovers(files, folder);
  LUMISK_TRY(const std::string xml, propertyListToXml(contentOf(info)));
  return replaceSmallFile(files, folder, name, xml, SmallFileDurability::kNow, 0644);
}

// After the job got another name the file follows it where it can.
Result<void> update(FileCalls& files, int folder, const std::string& name, InfoFileKind kind, const InfoFile& info) {
  LUMISK_TRY(const PropertyList content, readContent(files, folder, name));
  if (content == contentOf(info)) return {};
  LUMISK_CHECK(writeContent(files, folder, name, kind, info));
  const std::string wanted = infoFileName(kind, info.name);
  if (name != wanted && name != markedName(kind, info))
    (void)files.rename(folder, name, folder, wanted, Replace::kNever);
  return {};
}

Result<void> createInfoFile(FileCalls& files, int folder, InfoFileKind kind, const InfoFile& info) {
  if (info.uuid.empty()) return fail("write the info file", info.name, EINVAL, "the job has no uuid");
  LUMISK_TRY(const auto found, findInfoFile(files, folder, kind, info.uuid));
  if (found) return update(files, folder, *found, kind, info);
  LUMISK_TRY(const std::string name, nameForNew(files, folder, kind, info));
  return writeContent(files, folder, name, kind, info);
}

}  // namespace

std::string infoFileName(InfoFileKind kind, std::string_view jobName) {
  const std::string name = std::string(prefixOf(kind)).append(jobName);
  return std::string(firstCharacters(name, kLongestName));
}

bool isInfoFileName(std::string_view name) {
  return name.starts_with(kSourcePrefix) || name.starts_with(kTargetPrefix);
}

Result<std::optional<std::string>> findInfoFile(FileCalls& files, int folder, InfoFileKind kind,
                                                const std::string& uuid) {
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(files.listFolder(folder, entries));
  std::optional<Error> unread;
  for (const FolderEntry& entry : entries) {
    if (!entry.name.starts_with(prefixOf(kind))) continue;
    const auto content = readContent(files, folder, entry.name);
    if (content && !uuid.empty() && (*content)["uuid"].text() == uuid) return entry.name;
    if (!content && !cannotBeOurs(content.error())) unread = content.error();
  }
  if (unread) return fail(*unread);
  return std::nullopt;
}

Result<void> createInfoFileIntoDestFolder(FileCalls& files, int target, const InfoFile& info) {
  return createInfoFile(files, target, InfoFileKind::kTarget, info);
}

Result<void> createInfoFileIntoSourceFolder(FileCalls& files, const std::string& source, const InfoFile& info) {
  const auto folder = files.openRoot(source);
  if (!folder && folder.error().code == ENOTDIR) return {};
  if (!folder) return fail(folder.error());
  return createInfoFile(files, folder->get(), InfoFileKind::kSource, info);
}

TargetVerdict checkTarget(const TargetEvidence& evidence) {
  if (evidence.hasInfoFile) return TargetVerdict::kKnown;
  return evidence.wasWrittenBefore && !evidence.isAccepted ? TargetVerdict::kUnknown : TargetVerdict::kNew;
}

}  // namespace lumisk
