#include "engine/written_data.h"

#include <cerrno>
#include <utility>

namespace lumisk {
namespace {

// Up to here syncing single files is cheaper than making the whole file system write back what others left in it.
constexpr std::size_t kFewEntries = 16;

}  // namespace

Result<void> WrittenData::begin(int root) {
  LUMISK_TRY(const FileStatus status, files_.statusOf(root));
  return noteFileSystem(root, status.identity.device);
}

Result<void> WrittenData::noteFileSystem(int folder, std::uint64_t device) {
  if (fileSystems_.count(device) != 0) return {};
  LUMISK_TRY(Descriptor own, files_.duplicate(folder));
  fileSystems_.emplace(device, FileSystem{std::move(own)});
  return {};
}

void WrittenData::wrote(int file, int folder, std::uint64_t device) {
  wroteAnything_ = true;
  if (auto noted = noteFileSystem(folder, device); !noted) {
    lost_ = std::move(noted).error();
    return;
  }
  fileSystems_[device].isWritten = true;
  if (tooMany_) return;
  if (pending_.size() < kFewEntries && remember(file, folder)) return;
  tooMany_ = true;
  pending_.clear();
}

Result<void> WrittenData::remember(int file, int folder) {
  Pending entry;
  if (file >= 0) {
    LUMISK_TRY(entry.file, files_.duplicate(file));
  }
  LUMISK_TRY(entry.folder, files_.duplicate(folder));
  pending_.push_back(std::move(entry));
  return {};
}

Result<void> WrittenData::settle() {
  Result<void> settled = tooMany_ ? syncFileSystems() : syncEntries();
  if (lost_) settled = fail(*lost_);
  pending_.clear();
  for (auto& [device, fileSystem] : fileSystems_) fileSystem.isWritten = false;
  wroteAnything_ = tooMany_ = false;
  lost_.reset();
  return settled;
}

WrittenData WrittenData::take() {
  WrittenData taken(files_);
  taken.wroteAnything_ = std::exchange(wroteAnything_, false);
  taken.tooMany_ = std::exchange(tooMany_, false);
  taken.pending_ = std::exchange(pending_, {});
  taken.fileSystems_ = std::exchange(fileSystems_, {});
  taken.lost_ = std::exchange(lost_, {});
  return taken;
}

// Data first: a name that is on the disk then leads to whole data.
Result<void> WrittenData::syncEntries() {
  for (const Pending& entry : pending_)
    if (entry.file.isOpen()) LUMISK_CHECK(files_.syncFile(entry.file.get()));
  for (const Pending& entry : pending_) LUMISK_CHECK(syncFolder(entry.folder.get()));
  return {};
}

// Some network file systems cannot sync a folder by itself.
Result<void> WrittenData::syncFolder(int folder) {
  auto synced = files_.syncFile(folder);
  if (!synced && synced.error().code == EINVAL) return files_.syncFileSystem(folder);
  return synced;
}

// All of them, even when one fails: the others' data are worth having on the disk.
Result<void> WrittenData::syncFileSystems() {
  Result<void> result;
  for (const auto& [device, fileSystem] : fileSystems_) {
    if (!fileSystem.isWritten) continue;
    if (auto synced = files_.syncFileSystem(fileSystem.folder.get()); !synced) result = std::move(synced);
  }
  return result;
}

}  // namespace lumisk
