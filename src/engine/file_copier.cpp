#include "engine/file_copier.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "platform/paths.h"

namespace lumisk {

struct FileCopier::Source {
  Descriptor file;
  CatalogInfo info;
};

namespace {

std::string attributeKind(const std::string& name) {
  return name.substr(0, name.find('.'));
}

}  // namespace

Result<FileCopier::Copied> FileCopier::copyMacintoshFile(const Place& source, const FileStatus& seen,
                                                         const Place& destination,
                                                         const std::optional<FileStatus>& standing) {
  return reported(destination, copyFile(source, seen, destination, standing));
}

Result<FileCopier::Copied> FileCopier::copyFile(const Place& source, const FileStatus& seen, const Place& destination,
                                                const std::optional<FileStatus>& standing) {
  FileCalls& files = run_.files;
  LUMISK_CHECK(checkSpace(seen, destination));
  LUMISK_TRY(Source opened, about(source.path, openSource(source, seen)));
  TemporaryEntry temporary(files, destination.folder);
  LUMISK_TRY(Descriptor file, files.createFile(destination.folder, temporary.name(), 0600));
  temporary.made(FileType::kRegular);
  LUMISK_TRY(Copied copied, fill(opened, source, file.get(), destination));
  run_.written.wrote(file.get(), destination.folder, copied.made.device);
  // The earlier version goes before the run has everything synced. A failure shows again then.
  if (standing) (void)files.startSync(file.get());
  // Before it gets its name: some file servers tell only now that they could not take the data.
  LUMISK_CHECK(files.close(std::move(file)));
  LUMISK_TRY(copied.keptVersion, replacement_.putInPlace(temporary, destination, standing));
  return copied;
}

// A full disk is met once, not once for every file that is left.
Result<void> FileCopier::checkSpace(const FileStatus& seen, const Place& destination) {
  const std::uint64_t needed = std::min(seen.size, seen.blocks * 512);
  if (run_.hasRoomFor && !run_.hasRoomFor(needed)) return fail("copy", destination.path, ENOSPC);
  if (run_.m_nErrorCode != RunError::kOutOfSpace) return {};
  const auto space = run_.files.spaceOf(destination.folder);
  if (space && space->available < needed) return fail("copy", destination.path, ENOSPC);
  return {};
}

// The metadata come from before the first byte is read: what changes after that is newer than the copy says.
Result<FileCopier::Source> FileCopier::openSource(const Place& source, const FileStatus& seen) {
  Source opened;
  auto file = run_.files.openFile(source.folder, source.name);
  if (!file && file.error().code == ELOOP) return fail("open", source.path, ESTALE);
  LUMISK_TRY(opened.file, std::move(file));
  LUMISK_TRY(opened.info, readCatalogInfo(run_.files, opened.file.get()));
  const FileStatus& status = opened.info.status;
  if (status.type != FileType::kRegular || status.identity != seen.identity) return fail("open", source.path, ESTALE);
  return opened;
}

Result<FileCopier::Copied> FileCopier::fill(Source& source, const Place& sourcePlace, int file,
                                            const Place& destination) {
  FileCalls& files = run_.files;
  Copied copied;
  CatalogInfo& info = source.info;
  LUMISK_TRY(copied.bytes, data_.copy({source.file.get(), sourcePlace}, info.status, {file, destination}));
  LUMISK_TRY(const FileStatus after, about(sourcePlace.path, files.statusOf(source.file.get())));
  if (const auto date = dateOfChangedCopy(info.status, after)) {
    info.status.modified = *date;
    copied.changedMeanwhile = true;
  }
  CatalogInfo before;
  LUMISK_TRY(before.status, files.statusOf(file));
  copied.made = before.status.identity;
  LUMISK_TRY(const CatalogLoss loss, writeCatalogInfo(files, file, info, startsBare(destination) ? &before : nullptr));
  noteLoss(loss, file, destination.path);
  return copied;
}

// Asked once for a folder, not for each file in it.
bool FileCopier::startsBare(const Place& destination) {
  std::string folder = paths::parent(destination.path);
  if (folder != lastFolder_) {
    const auto inherits = newEntriesInherit(run_.files, destination.folder);
    lastFolderIsPlain_ = inherits && !*inherits;
    lastFolder_ = std::move(folder);
  }
  return lastFolderIsPlain_;
}

Result<FileCopier::Copied> FileCopier::linkMacintoshFile(const Place& existing, const FileIdentity& expected,
                                                         const Place& destination,
                                                         const std::optional<FileStatus>& standing) {
  return reported(destination, linkFile(existing, expected, destination, standing));
}

Result<FileCopier::Copied> FileCopier::linkFile(const Place& existing, const FileIdentity& expected,
                                                const Place& destination, const std::optional<FileStatus>& standing) {
  FileCalls& files = run_.files;
  Copied copied;
  copied.made = expected;
  // A rename from one name of a file to another does nothing at all.
  if (standing && standing->identity == expected) return copied;
  TemporaryEntry temporary(files, destination.folder);
  LUMISK_CHECK(files.link(existing.folder, existing.name, destination.folder, temporary.name()));
  temporary.made(FileType::kRegular);
  LUMISK_TRY(const FileStatus made, files.status(destination.folder, temporary.name()));
  if (made.type != FileType::kRegular || made.identity != expected) return fail("link", existing.path, ESTALE);
  run_.written.wrote(-1, destination.folder, expected.device);
  LUMISK_TRY(copied.keptVersion, replacement_.putInPlace(temporary, destination, standing));
  return copied;
}

bool FileCopier::copyMacintoshFinderInfo(const CatalogInfo& info, int destination, const std::string& destinationPath) {
  const auto loss = writeCatalogInfo(run_.files, destination, info);
  if (!loss) return false;
  noteLoss(*loss, destination, destinationPath);
  return true;
}

void FileCopier::noteLoss(const CatalogLoss& loss, int descriptor, const std::string& path) {
  if (!loss.any()) return;
  ++run_.counts.losses;
  const auto status = run_.files.statusOf(descriptor);
  const std::uint64_t device = status ? status->identity.device : 0;
  if (loss.ownerLost) logLossOnce(device, "owner", "the owner", path);
  if (loss.permissionsLost) logLossOnce(device, "permissions", "the permissions", path);
  for (const std::string& name : loss.attributesLost)
    logLossOnce(device, attributeKind(name), "the attribute " + name, path);
}

void FileCopier::logLossOnce(std::uint64_t device, const std::string& kind, const std::string& what,
                             const std::string& path) {
  if (!run_.lossesLogged.insert(std::to_string(device) + " " + kind).second) return;
  run_.log.write("%s: WARNING: the target cannot keep %s of \"%s\"; further losses of this kind are not logged\n",
                 run_.info.name.c_str(), shown(what).c_str(), shown(path).c_str());
}

}  // namespace lumisk
