#include "engine/file_transport.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "engine/error_place.h"

namespace lumisk {
namespace {

std::string_view folderOf(const std::string& path) {
  return std::string_view(path).substr(0, path.rfind('/'));
}

}  // namespace

Result<FileTransport::Filled> FileTransport::fill(const Place& source, const FileStatus& seen, const Place& destination,
                                                  TemporaryEntry& temporary) {
  Filled filled;
  LUMISK_TRY(Source opened, about(source.path, openSource(source, seen)));
  enterFolder(destination);
  const std::uint32_t mode = modeToMakeWith(opened.info);
  if (mode != madeWith_) asMade_.reset();
  madeWith_ = mode;
  LUMISK_TRY(filled.file, files_.createFile(destination.folder, temporary.name(), mode));
  temporary.made(FileType::kRegular);
  LUMISK_CHECK(fill(opened, source, destination, filled));
  return filled;
}

// Asked once for a folder, not for each file in it.
void FileTransport::enterFolder(const Place& destination) {
  const std::string_view folder = folderOf(destination.path);
  if (folder == lastFolder_) return;
  lastFolder_ = folder;
  asMade_.reset();
  const auto inherits = destination.startsBare ? Result<bool>(false) : newEntriesInherit(files_, destination.folder);
  startBare_ = inherits && !*inherits;
}

// The file's own permissions at once where nobody gets more by them than in the end: the owner and group are right from
// the beginning, and no ACL, not an inherited one either, gives the bits another meaning. Else nobody else's, until it
// is dressed.
std::uint32_t FileTransport::modeToMakeWith(const CatalogInfo& info) const {
  constexpr std::uint32_t kPrivate = 0600, kPermissions = 0777;
  const FileStatus& wanted = info.status;
  const bool isPlain = info.attributes.empty() && info.unreadable.empty() && (wanted.mode & ~kPermissions) == 0 &&
                       (wanted.mode & kPrivate) == kPrivate;
  const bool isOurs = startBare_ && asMade_ && asMade_->owner == wanted.owner && asMade_->group == wanted.group;
  return isPlain && isOurs ? wanted.mode : kPrivate;
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
