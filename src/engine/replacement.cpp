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
    LUMISK_CHECK(putOverLinked(temporary, destination));
  } else if (run_.info.bMoveFileTrash || temporary.type() != standing->type) {
    LUMISK_CHECK(putOverTrashed(temporary, destination, *standing));
  } else {
    LUMISK_CHECK(rename(temporary, destination, Replace::kAllowed));
  }
  return kept != Kept::kNothing;
}

// What was saved at the destination while we copied is not what the run decided to replace. Inode numbers are not
// asked: some network file systems make them up.
Result<void> Replacement::checkStanding(const Place& destination, const FileStatus& standing) {
  LUMISK_TRY(const FileStatus now, run_.files.status(destination.folder, destination.name));
  if (now.type == standing.type &&
      (isFolder(now.type) || (now.size == standing.size && now.modified == standing.modified)))
    return {};
  return fail("replace", destination.path, ESTALE);
}

// The old entry has another name by now, so its name here may go.
Result<void> Replacement::putOverLinked(TemporaryEntry& temporary, const Place& destination) {
  if (!isFolder(temporary.type())) return rename(temporary, destination, Replace::kAllowed);
  // A folder cannot be renamed over a file.
  LUMISK_CHECK(run_.files.removeFile(destination.folder, destination.name));
  return rename(temporary, destination, Replace::kNever);
}

Result<void> Replacement::putOverTrashed(TemporaryEntry& temporary, const Place& destination,
                                         const FileStatus& standing) {
  if (!isFolder(temporary.type()) && !isFolder(standing.type)) {
    const auto linked = trash_.linkToTrash(destination.folder, destination.name, destination.path);
    if (linked) return rename(temporary, destination, Replace::kAllowed);
    if (!isNotPossible(linked.error())) return fail(linked.error());
  }
  // Between the exchange and the Trash it stands for the only copy of the earlier version; a run may be killed there.
  LUMISK_CHECK(temporary.takeLastingName());
  const auto exchanged =
      run_.files.exchange(temporary.folder(), temporary.name(), destination.folder, destination.name);
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

// Where that fails the earlier version stays where it is.
void Replacement::undoExchange(TemporaryEntry& temporary, const Place& destination) {
  if (!run_.files.exchange(temporary.folder(), temporary.name(), destination.folder, destination.name))
    temporary.gone();
}

Result<void> Replacement::rename(TemporaryEntry& temporary, const Place& destination, Replace replace) {
  LUMISK_CHECK(run_.files.rename(temporary.folder(), temporary.name(), destination.folder, destination.name, replace));
  temporary.gone();
  return {};
}

}  // namespace lumisk
