#include "engine/file_transport.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "engine/error_place.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kUnfinishedMode = 0600;

std::string_view folderOf(const std::string& path) {
  return std::string_view(path).substr(0, path.rfind('/'));
}

}  // namespace

Result<FileTransport::Filled> FileTransport::fill(const Place& source, const FileStatus& seen, const Place& destination,
                                                  TemporaryEntry& temporary) {
  Filled filled;
  LUMISK_TRY(Source opened, about(source.path, openSource(source, seen)));
  enterFolder(destination);
  const std::uint32_t mode = modeToMakeWith(opened.info, startBare_ ? asMade_ : std::nullopt, kUnfinishedMode);
  if (mode != madeWith_) asMade_.reset();
  madeWith_ = mode;
  LUMISK_TRY(filled.file, files_.createFile(destination.folder, temporary.name(), mode));
  temporary.made(FileType::kRegular);
  LUMISK_CHECK(fill(opened, source, destination, filled));
  return filled;
}

// Asked once for a folder, not for each file in it; nor for a folder that the run has made like the last one.
void FileTransport::enterFolder(const Place& destination) {
  const std::string_view folder = folderOf(destination.path);
  if (folder == lastFolder_) return;
  lastFolder_ = folder;
  const auto kind = kindOf(destination);
  const bool isLikeLast = kind && kind == lastKind_;
  lastKind_ = kind;
  if (isLikeLast) return;
  asMade_.reset();
  const auto inherits = destination.startsBare ? Result<bool>(false) : newEntriesInherit(files_, destination.folder);
  startBare_ = inherits && !*inherits;
}

std::optional<FileTransport::FolderKind> FileTransport::kindOf(const Place& destination) {
  constexpr std::uint32_t kGivesGroup = 02000;
  if (!destination.startsBare || !destination.madeFolder) return std::nullopt;
  const FileStatus& folder = *destination.madeFolder;
  return FolderKind{folder.identity.device, folder.group, (folder.mode & kGivesGroup) != 0};
}

// The metadata come from before the first byte is read: what changes after that is newer than the copy says.
Result<FileTransport::Source> FileTransport::openSource(const Place& source, const FileStatus& seen) {
  Source opened;
  auto file = files_.openFile(source.folder, source.name);
  if (!file && file.error().code == ELOOP) return fail("open", source.path, ESTALE);
  LUMISK_TRY(opened.file, std::move(file));
  LUMISK_TRY(opened.info, readCatalogInfo(files_, opened.file.get()));
  const FileStatus& status = opened.info.status;
  if (status.type != FileType::kRegular || status.identity != seen.identity) return fail("open", source.path, ESTALE);
  return opened;
}

Result<void> FileTransport::fill(Source& source, const Place& sourcePlace, const Place& destination, Filled& filled) {
  const int file = filled.file.get();
  CatalogInfo& info = source.info;
  LUMISK_TRY(filled.bytes, data_.copy({source.file.get(), sourcePlace}, info.status, {file, destination}));
  LUMISK_TRY(const FileStatus after, about(sourcePlace.path, files_.statusOf(source.file.get())));
  // It did not get shorter: its file system keeps something back.
  if (data_.endedEarly() && after.size == info.status.size) return fail("read", sourcePlace.path, ENODATA);
  if (const auto date = dateOfChangedCopy(info.status, after)) {
    info.status.modified = *date;
    filled.changedMeanwhile = true;
  }
  LUMISK_TRY(filled.loss, dress(info, filled));
  return {};
}

Result<CatalogLoss> FileTransport::dress(const CatalogInfo& info, Filled& filled) {
  LUMISK_CHECK(lookAtMade(info, filled));
  CatalogInfo before;
  before.status = *asMade_;
  before.status.modified = kUnknownDate;
  return writeCatalogInfo(files_, filled.file.get(), info, startBare_ ? &before : nullptr);
}

// Files that are made in one folder with the same permissions, and inherit nothing, have the same owner, group and
// permissions.
Result<void> FileTransport::lookAtMade(const CatalogInfo& info, Filled& filled) {
  const bool isKnown = startBare_ && asMade_ && info.status.links == 1;
  if (!isKnown) {
    LUMISK_TRY(asMade_, files_.statusOf(filled.file.get()));
  }
  filled.made = {asMade_->identity.device, isKnown ? 0 : asMade_->identity.inode};
  return {};
}

}  // namespace lumisk
