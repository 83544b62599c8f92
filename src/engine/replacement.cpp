#include "engine/replacement.h"

#include <cerrno>

namespace lumisk {
namespace {

bool isFolder(FileType type) {
  return type == FileType::kFolder;
}

// The file system, or its rules for links to other users' files, do not allow it: another way may be open.
bool isNotPossible(const Error& error) {
  static constexpr std::array kCodes = {EOPNOTSUPP, EINVAL, ENOSYS, EPERM, EMLINK, EXDEV};
  return std::find(kCodes.begin(), kCodes.end(), error.code) != kCodes.end();
}

// Inode numbers are not asked: some network file systems make them up.
bool isSameVersion(const FileStatus& a, const FileStatus& b) {
  return a.type == b.type && (isFolder(a.type) || (a.size == b.size && a.modified == b.modified));
}

}  // namespace

Result<bool> Replacement::putInPlace(TemporaryEntry& temporary, const Place& destination,
                                     const std::optional<FileStatus>& standing) {
  using Kept = VersionKeeper::Kept;
  if (!standing) {
    LUMISK_CHECK(rename(temporary, destination, Replace::kNever));
    return false;
  }
  LUMISK_CHECK(checkStanding(destination, *standing));
  LUMISK_TRY(const Kept kept, revisions_.keep(destination, *standing));
  if (kept == Kept::kMoved) {
    LUMISK_CHECK(rename(temporary, destination, Replace::kNever));
  } else if (kept == Kept::kLinked) {
    LUMISK_CHECK(putOver(temporary, destination, *standing));
  } else if (run_.info.bMoveFileTrash || temporary.type() != standing->type) {
    LUMISK_CHECK(putOverTrashed(temporary, destination, *standing));
  } else {
    LUMISK_CHECK(putOver(temporary, destination, *standing));
  }
  return kept != Kept::kNothing;
}

// What was saved at the destination while we copied is not what the run decided to replace.
Result<void> Replacement::checkStanding(const Place& destination, const FileStatus& standing) {
  LUMISK_TRY(const FileStatus now, run_.files.status(destination.folder, destination.name));
  return isSameVersion(now, standing) ? Result<void>() : fail("replace", destination.path, ESTALE);
}

// The old entry has another name by now, or is not to be kept, so its name here may go.
Result<void> Replacement::putOver(TemporaryEntry& temporary, const Place& destination, const FileStatus& standing) {
  const auto exchanged = exchange(temporary, destination, standing);
  if (!exchanged && isNotPossible(exchanged.error())) return renameOver(temporary, destination);
  LUMISK_CHECK(exchanged);
  temporary.made(standing.type);
  return {};
}

Result<void> Replacement::renameOver(TemporaryEntry& temporary, const Place& destination) {
  if (!isFolder(temporary.type())) return rename(temporary, destination, Replace::kAllowed);
  // A folder cannot be renamed over a file.
  LUMISK_CHECK(run_.files.removeFile(destination.folder, destination.name));
  return rename(temporary, destination, Replace::kNever);
}

Result<void> Replacement::putOverTrashed(TemporaryEntry& temporary, const Place& destination,
                                         const FileStatus& standing) {
  if (!isFolder(temporary.type()) && !isFolder(standing.type)) {
    const auto linked = trash_.linkToTrash(destination.folder, destination.name, destination.path);
    if (linked) return putOver(temporary, destination, standing);
    if (!isNotPossible(linked.error())) return fail(linked.error());
  }
  // Between the exchange and the Trash it stands for the only copy of the earlier version; a run may be killed there.
  LUMISK_CHECK(temporary.takeLastingName());
  const auto exchanged = exchange(temporary, destination, standing);
  if (exchanged) return trashExchanged(temporary, destination);
  if (!isNotPossible(exchanged.error())) return exchanged;
  LUMISK_CHECK(trash_.moveToTrash(destination.folder, destination.name, destination.path));
  return rename(temporary, destination, Replace::kNever);
}

// The temporary name stands for the old entry now.
Result<void> Replacement::trashExchanged(TemporaryEntry& temporary, const Place& destination) {
  const auto moved = trash_.moveToTrash(temporary.folder(), temporary.name(), destination.path);
  if (moved) {
    temporary.gone();
    return {};
  }
  undoExchange(temporary, destination);
  return fail(moved.error());
}

// Afterwards the temporary name stands for the old entry; when it fails, for the new one as before.
Result<void> Replacement::exchange(TemporaryEntry& temporary, const Place& destination, const FileStatus& standing) {
  LUMISK_TRY(const FileStatus ours, run_.files.status(temporary.folder(), temporary.name()));
  ours_ = ours.identity;
  LUMISK_CHECK(run_.files.exchange(temporary.folder(), temporary.name(), destination.folder, destination.name));
  const auto out = run_.files.status(temporary.folder(), temporary.name());
  if (out && isSameVersion(*out, standing)) return {};
  undoExchange(temporary, destination);
  return out ? fail("replace", destination.path, ESTALE) : fail(out.error());
}

// Where that fails, or brings out something else again, what has come out stays, too, under a name that lasts.
void Replacement::undoExchange(TemporaryEntry& temporary, const Place& destination) {
  const auto undone = run_.files.exchange(temporary.folder(), temporary.name(), destination.folder, destination.name);
  const auto out = undone ? run_.files.status(temporary.folder(), temporary.name()) : fail(undone.error());
  if (out && out->identity == ours_) return;
  (void)temporary.takeLastingName();
  temporary.gone();
}

Result<void> Replacement::rename(TemporaryEntry& temporary, const Place& destination, Replace replace) {
  LUMISK_CHECK(run_.files.rename(temporary.folder(), temporary.name(), destination.folder, destination.name, replace));
  temporary.gone();
  return {};
}

}  // namespace lumisk
