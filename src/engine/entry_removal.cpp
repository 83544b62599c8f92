#include "engine/entry_removal.h"

#include <cerrno>

#include "platform/temporary_name.h"

namespace lumisk {
namespace {

// Removes what lies in one folder, depth first. Holds the folder it is in open and goes back up through "..".
class FolderRemoval {
 public:
  FolderRemoval(FileCalls& files, const std::function<bool()>& mustStop, const MayRemove& mayRemove)
      : files_(files), mustStop_(mustStop), mayRemove_(mayRemove) {}

  Result<void> remove(int folder, const std::string& name) {
    LUMISK_CHECK(enter(folder, name));
    while (levels_.size() > 1 || !levels_.back().subfolders.empty()) {
      if (levels_.back().subfolders.empty()) {
        LUMISK_CHECK(leave());
        continue;
      }
      const std::string next = std::move(levels_.back().subfolders.back());
      levels_.back().subfolders.pop_back();
      LUMISK_CHECK(enter(current_.get(), next));
    }
    return files_.removeFolder(folder, name);
  }

 private:
  struct Level {
    std::string name;
    FileIdentity identity;
    std::vector<std::string> subfolders;  // still to be removed
  };

  Result<void> enter(int folder, const std::string& name) {
    LUMISK_TRY(Descriptor opened, files_.openFolder(folder, name));
    LUMISK_TRY(const FileStatus status, files_.statusOf(opened.get()));
    if (status.isMountRoot) return fail("remove the mount point", name, EBUSY);
    if (!levels_.empty() && status.identity.device != levels_.front().identity.device)
      return fail("remove the folder of another file system", name, EBUSY);
    LUMISK_CHECK(check(status, name));
    // Copies of read-only folders are read-only, too.
    if ((status.mode & 0700) != 0700) (void)files_.setMode(opened.get(), status.mode | 0700);
    current_ = std::move(opened);
    levels_.push_back({name, status.identity, {}});
    return removeFiles();
  }

  Result<void> removeFiles() {
    std::vector<FolderEntry> entries;
    LUMISK_CHECK(files_.listFolder(current_.get(), entries));
    for (FolderEntry& entry : entries) {
      if (mustStop_()) return fail("remove", entry.name, ECANCELED);
      LUMISK_TRY(const FileType type, typeOf(entry));
      if (type == FileType::kFolder) {
        levels_.back().subfolders.push_back(std::move(entry.name));
      } else {
        LUMISK_CHECK(removeFile(entry.name));
      }
    }
    return {};
  }

  Result<void> removeFile(const std::string& name) {
    if (mayRemove_) {
      LUMISK_TRY(const FileStatus status, files_.status(current_.get(), name));
      LUMISK_CHECK(check(status, name));
    }
    return files_.removeFile(current_.get(), name);
  }

  Result<void> check(const FileStatus& status, const std::string& name) const {
    return !mayRemove_ || mayRemove_(status) ? Result<void>() : fail("remove what is not known", name, ENOTEMPTY);
  }

  Result<FileType> typeOf(const FolderEntry& entry) {
    if (entry.type != FileType::kUnknown) return entry.type;
    LUMISK_TRY(const FileStatus status, files_.status(current_.get(), entry.name));
    return status.type;
  }

  // Only into the folder that it came from: one that was moved meanwhile has another parent.
  Result<void> leave() {
    const std::string name = std::move(levels_.back().name);
    levels_.pop_back();
    LUMISK_TRY(Descriptor parent, files_.openParent(current_.get()));
    LUMISK_TRY(const FileStatus status, files_.statusOf(parent.get()));
    if (status.identity != levels_.back().identity) return fail("remove the folder", name, ESTALE);
    current_ = std::move(parent);
    return files_.removeFolder(current_.get(), name);
  }

  FileCalls& files_;
  const std::function<bool()>& mustStop_;
  const MayRemove& mayRemove_;
  Descriptor current_;
  std::vector<Level> levels_;
};

}  // namespace

Result<void> removeTree(FileCalls& files, int folder, const std::string& name, const std::function<bool()>& mustStop,
                        const MayRemove& mayRemove) {
  LUMISK_TRY(const FileStatus status, files.status(folder, name));
  if (status.type != FileType::kFolder) return files.removeFile(folder, name);
  return FolderRemoval(files, mustStop, mayRemove).remove(folder, name);
}

namespace {

// Inode numbers are not asked: some network file systems make them up.
bool isSameVersion(const FileStatus& a, const FileStatus& b) {
  return a.type == b.type && (a.type == FileType::kFolder || (a.size == b.size && a.modified == b.modified));
}

Result<void> discardAsTheJobSays(RunState& run, Trash& trash, const Place& entry, const MayRemove& mayRemove) {
  // What has a lasting name is an earlier version that could not be kept elsewhere when it was replaced.
  if (!run.info.bMoveFileTrash && !isLastingName(entry.name)) {
    const auto mustStop = [&run] { return run.mustStop(); };
    return removeTree(run.files, entry.folder, entry.name, mustStop, mayRemove);
  }
  LUMISK_CHECK(trash.moveToTrash(entry.folder, entry.name, entry.path));
  return {};
}

// The copy of a read-only folder is read-only, too; it follows its source all the same.
Result<void> discardFromReadOnlyFolder(RunState& run, Trash& trash, const Place& entry, const MayRemove& mayRemove) {
  LUMISK_TRY(const FileStatus folder, run.files.statusOf(entry.folder));
  LUMISK_CHECK(run.files.setMode(entry.folder, folder.mode | 0700));
  auto discarded = discardAsTheJobSays(run, trash, entry, mayRemove);
  LUMISK_CHECK(run.files.setMode(entry.folder, folder.mode));
  return discarded;
}

}  // namespace

Result<void> discardEntry(RunState& run, Trash& trash, const Place& entry, const FileStatus& standing,
                          const MayRemove& mayRemove) {
  LUMISK_TRY(const FileStatus now, run.files.status(entry.folder, entry.name));
  if (!isSameVersion(now, standing)) return fail("delete", entry.path, ESTALE);
  auto discarded = discardAsTheJobSays(run, trash, entry, mayRemove);
  if (!discarded && discarded.error().code == EACCES)
    discarded = discardFromReadOnlyFolder(run, trash, entry, mayRemove);
  LUMISK_CHECK(discarded);
  run.written.wrote(-1, entry.folder, standing.identity.device);
  return {};
}

}  // namespace lumisk
