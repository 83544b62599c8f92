// Symbolic links and folders.

#include <cerrno>
#include <system_error>

#include "engine/copy_rule.h"
#include "engine/file_copier.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kUnfinishedFolderMode = 0700;
constexpr std::uint32_t kOthersWrite = 0022;

std::string reasonOf(const Error& error) {
  return error.code == 0 ? error.detail : std::generic_category().message(error.code);
}

bool hasVanishedAsLink(const Error& error) {
  return error.code == EINVAL || error.code == ENOENT;
}

}  // namespace

FileCopier::LinkOutcome FileCopier::copyMacintoshFileLink(const Place& source, const FileStatus& seen,
                                                          const Place& destination,
                                                          const std::optional<FileStatus>& standing) {
  if (seen.type != FileType::kLink) return LinkOutcome::kNotALink;
  const char* job = run_.info.name.c_str();
  const auto text = run_.files.readLink(source.folder, source.name);
  if (!text && hasVanishedAsLink(text.error())) return LinkOutcome::kNotALink;
  if (!text) {
    run_.log.write("%s: ERROR: Failed to read symbolic link from the file \"%s\"\n error code: %d,%s\n", job,
                   shown(source.path).c_str(), text.error().code, reasonOf(text.error()).c_str());
    return LinkOutcome::kFailed;
  }
  if (isSameLink(*text, destination, standing)) return LinkOutcome::kSame;
  const auto made = reported(destination, makeLink(*text, seen, destination, standing));
  if (!made) {
    run_.log.write("%s: ERROR: Failed to create symbolic link. destinationPath: %s\n error code: %d,%s\n", job,
                   shown(destination.path).c_str(), made.error().code, reasonOf(made.error()).c_str());
    return LinkOutcome::kFailed;
  }
  run_.log.write("%s: symbolic link -- Copied %s\n", job, shown(source.path).c_str());
  return LinkOutcome::kMade;
}

bool FileCopier::isSameLink(const std::string& text, const Place& destination,
                            const std::optional<FileStatus>& standing) {
  if (!standing || standing->type != FileType::kLink) return false;
  const auto there = run_.files.readLink(destination.folder, destination.name);
  return there && *there == text;
}

Result<void> FileCopier::makeLink(const std::string& text, const FileStatus& seen, const Place& destination,
                                  const std::optional<FileStatus>& standing) {
  FileCalls& files = run_.files;
  TemporaryEntry temporary(files, destination.folder);
  LUMISK_CHECK(files.makeLink(text, destination.folder, temporary.name()));
  temporary.made(FileType::kLink);
  LUMISK_TRY(const FileStatus made, files.status(destination.folder, temporary.name()));
  dressLink(temporary, made, seen, destination);
  run_.written.wrote(-1, destination.folder, made.identity.device);
  LUMISK_TRY(const bool keptVersion, replacement_.putInPlace(temporary, destination, standing));
  run_.counts.revisions += keptVersion ? 1 : 0;
  return {};
}

void FileCopier::dressLink(const TemporaryEntry& link, const FileStatus& made, const FileStatus& seen,
                           const Place& destination) {
  FileCalls& files = run_.files;
  const bool isOthers = made.owner != seen.owner || made.group != seen.group;
  const bool ownerLost = isOthers && !files.setLinkOwner(link.folder(), link.name(), seen.owner, seen.group);
  const bool dateLost = !files.setLinkModified(link.folder(), link.name(), seen.modified);
  if (!ownerLost && !dateLost) return;
  ++run_.counts.losses;
  if (ownerLost) logLossOnce(made.identity.device, "owner", "the owner", destination.path);
  if (dateLost) logLossOnce(made.identity.device, "link date", "the date of the link", destination.path);
}

Result<FileCopier::MadeFolder> FileCopier::createMacintoshDirectory(const Place& destination,
                                                                    const std::optional<FileStatus>& standing,
                                                                    const CatalogInfo& wanted,
                                                                    const std::optional<FileStatus>& like) {
  const bool isInTheWay = standing && standing->type != FileType::kFolder;
  return reported(destination,
                  isInTheWay ? makeDirectoryInstead(destination, *standing) : makeDirectory(destination, wanted, like));
}

// It gets its name at once (EEXIST for another folder).
Result<FileCopier::MadeFolder> FileCopier::makeDirectory(const Place& destination, const CatalogInfo& wanted,
                                                         const std::optional<FileStatus>& like) {
  // What others may write into stays closed to them while the run relies on its being empty.
  const bool isOpenToOthers = (wanted.status.mode & kOthersWrite) != 0;
  const std::uint32_t mode =
      isOpenToOthers ? kUnfinishedFolderMode : modeToMakeWith(wanted, like, kUnfinishedFolderMode);
  LUMISK_CHECK(run_.files.makeFolder(destination.folder, destination.name, mode));
  LUMISK_TRY(MadeFolder made, openMade(destination, destination.name));
  // Somebody has changed the folder around it, so that it is another's than was expected.
  const bool isOurs = made.status.owner == wanted.status.owner && made.status.group == wanted.status.group;
  if (mode == kUnfinishedFolderMode || isOurs) return made;
  LUMISK_CHECK(run_.files.setMode(made.folder.get(), kUnfinishedFolderMode));
  LUMISK_TRY(made.status, run_.files.statusOf(made.folder.get()));
  return made;
}

// What stands in the way has to be kept first.
Result<FileCopier::MadeFolder> FileCopier::makeDirectoryInstead(const Place& destination, const FileStatus& standing) {
  TemporaryEntry temporary(run_.files, destination.folder);
  LUMISK_CHECK(run_.files.makeFolder(destination.folder, temporary.name(), kUnfinishedFolderMode));
  temporary.made(FileType::kFolder);
  LUMISK_TRY(MadeFolder made, openMade(destination, temporary.name()));
  LUMISK_TRY(const bool keptVersion, replacement_.putInPlace(temporary, destination, standing));
  run_.counts.revisions += keptVersion ? 1 : 0;
  return made;
}

Result<FileCopier::MadeFolder> FileCopier::openMade(const Place& destination, const std::string& name) {
  MadeFolder made;
  LUMISK_TRY(made.folder, run_.files.openFolder(destination.folder, name));
  LUMISK_TRY(made.status, run_.files.statusOf(made.folder.get()));
  run_.written.wrote(made.folder.get(), destination.folder, made.status.identity.device);
  return made;
}

}  // namespace lumisk
