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
  LUMISK_TRY(filled.file, files_.createFile(destination.folder, temporary.name(), 0600));
  temporary.made(FileType::kRegular);
  LUMISK_CHECK(fill(opened, source, destination, filled));
  return filled;
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
  if (const auto date = dateOfChangedCopy(info.status, after)) {
    info.status.modified = *date;
    filled.changedMeanwhile = true;
  }
  CatalogInfo before;
  LUMISK_TRY(before.status, files_.statusOf(file));
  filled.made = before.status.identity;
  LUMISK_TRY(filled.loss, writeCatalogInfo(files_, file, info, startsBare(destination) ? &before : nullptr));
  return {};
}

// Asked once for a folder, not for each file in it.
bool FileTransport::startsBare(const Place& destination) {
  if (destination.startsBare) return true;
  const std::string_view folder = folderOf(destination.path);
  if (folder != lastFolder_) {
    const auto inherits = newEntriesInherit(files_, destination.folder);
    lastFolderIsPlain_ = inherits && !*inherits;
    lastFolder_ = folder;
  }
  return lastFolderIsPlain_;
}

}  // namespace lumisk
