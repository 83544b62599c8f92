#include "engine/file_copier.h"

#include <cerrno>

namespace lumisk {

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
  TemporaryEntry temporary(files, destination.folder);
  LUMISK_TRY(FileTransport::Filled filled, transport_.fill(source, seen, destination, temporary));
  Copied copied = noteFilled(filled, destination);
  run_.written.wrote(filled.file.get(), destination.folder, copied.made.device);
  // The earlier version goes before the run has everything synced. A failure shows again then.
  if (standing) (void)files.startSync(filled.file.get());
  // Before it gets its name: some file servers tell only now that they could not take the data.
  LUMISK_CHECK(files.close(std::move(filled.file)));
  LUMISK_TRY(copied.keptVersion, replacement_.putInPlace(temporary, destination, standing));
  return copied;
}

FileCopier::Copied FileCopier::noteFilled(const FileTransport::Filled& filled, const Place& destination) {
  noteLoss(filled.loss, filled.made.device, destination.path);
  return {filled.made, filled.bytes, false, filled.changedMeanwhile};
}

// Aside.

// Only where nothing has to be known of the file on the way: neither what room is left nor its descriptor at the end.
bool FileCopier::mayCarryAside(const FileStatus& seen) const {
  const bool isRoomTold = run_.hasRoomFor || run_.m_nErrorCode == RunError::kOutOfSpace;
  return run_.written.isMuch() && !isRoomTold && DataCopy::isPlainAndSmall(seen);
}

void FileCopier::beforeCarryingAside(const FileStatus& folder, const Place& destination) {
  run_.written.wrote(-1, destination.folder, folder.identity.device);
}

Result<FileTransport::Filled> FileCopier::carryAside(FileTransport& transport, FileCalls& files, const Place& source,
                                                     const FileStatus& seen, const Place& destination) {
  TemporaryEntry temporary(files, destination.folder);
  LUMISK_TRY(FileTransport::Filled filled, transport.fill(source, seen, destination, temporary));
  LUMISK_CHECK(files.close(std::move(filled.file)));
  LUMISK_CHECK(
      files.rename(temporary.folder(), temporary.name(), destination.folder, destination.name, Replace::kNever));
  temporary.gone();
  return filled;
}

Result<FileCopier::Copied> FileCopier::carriedAside(const Place& destination, Result<FileTransport::Filled> filled) {
  if (!filled) return reported<Copied>(destination, fail(std::move(filled).error()));
  run_.written.wrote(-1, destination.folder, filled->made.device);
  return noteFilled(*filled, destination);
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

Result<FileCopier::Copied> FileCopier::linkMacintoshFile(const Place& existing, const FileIdentity& expected,
                                                         const Place& destination,
                                                         const std::optional<FileStatus>& standing) {
  // Not reported: a name that cannot be had for lack of room is copied instead, and that tells whether there is any.
  return about(destination.path, linkFile(existing, expected, destination, standing));
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

bool FileCopier::copyMacintoshFinderInfo(const CatalogInfo& info, int destination, const std::string& destinationPath,
                                         const CatalogInfo* before) {
  const auto loss = writeCatalogInfo(run_.files, destination, info, before);
  if (!loss) return false;
  if (!loss->any()) return true;
  const auto status = run_.files.statusOf(destination);
  noteLoss(*loss, status ? status->identity.device : 0, destinationPath);
  return true;
}

void FileCopier::noteLoss(const CatalogLoss& loss, std::uint64_t device, const std::string& path) {
  if (!loss.any()) return;
  ++run_.counts.losses;
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
