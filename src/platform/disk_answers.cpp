#include "platform/disk_answers.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "platform/block_device.h"
#include "platform/descriptor.h"
#include "platform/file_calls.h"
#include "platform/volume_changes.h"

namespace lumisk {
namespace {

constexpr const char* kOperation = "read from the disk of";

bool mayNotBeAsked(const Error& error) {
  return error.code == EACCES || error.code == EPERM || error.code == ENOENT;
}

unsigned long kindOf(int folder) {
  struct statfs raw;
  return ::fstatfs(folder, &raw) == 0 ? static_cast<unsigned long>(raw.f_type) : 0;
}

bool givesErrors(int folder) {
  static constexpr unsigned long kKinds[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, F2FS_SUPER_MAGIC,
                                             TMPFS_MAGIC};
  return std::find(std::begin(kKinds), std::end(kKinds), kindOf(folder)) != std::end(kKinds);
}

// Shows empty folders in place of errors.
bool isSilent(int folder) {
  const unsigned long kind = kindOf(folder);
  return kind == MSDOS_SUPER_MAGIC || kind == ISOFS_SUPER_MAGIC;
}

// Nothing when it says nothing of the disk: no regular file, empty, or another user's.
std::optional<Result<void>> readFromDisk(int folder, const std::string& name) {
  const Descriptor file(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen() && (mayNotBeAsked({{}, {}, errno, {}}) || errno == ELOOP || errno == ENXIO)) return std::nullopt;
  if (!file.isOpen()) return fail(kOperation, name, errno);
  struct stat status;
  if (::fstat(file.get(), &status) < 0) return fail(kOperation, name, errno);
  if (!S_ISREG(status.st_mode) || status.st_size == 0) return std::nullopt;
  (void)::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
  char byte = 0;
  const ssize_t size = ::pread(file.get(), &byte, 1, 0);
  if (size < 0) return fail(kOperation, name, errno);
  return Result<void>();
}

std::optional<Result<void>> readSomeFileIn(int folder) {
  constexpr int kMostTried = 20;
  std::vector<FolderEntry> entries;
  if (auto listed = realFileCalls().listFolder(folder, entries); !listed) return listed;
  int tried = 0;
  for (const FolderEntry& entry : entries) {
    if (entry.type != FileType::kRegular && entry.type != FileType::kUnknown) continue;
    if (auto read = readFromDisk(folder, entry.name)) return read;
    if (++tried == kMostTried) break;
  }
  return std::nullopt;
}

bool isRootOfItsFileSystem(int folder) {
  struct stat here, above;
  if (::fstat(folder, &here) < 0 || ::fstatat(folder, "..", &above, 0) < 0) return true;
  return here.st_dev != above.st_dev || here.st_ino == above.st_ino;
}

}  // namespace

Result<void> checkDiskOf(int folder) {
  return givesErrors(folder) ? Result<void>() : askDiskOf(folder);
}

Result<void> askDiskOf(int folder) {
  struct stat status;
  if (::fstat(folder, &status) < 0) return fail(kOperation, ".", errno);
  if (major(status.st_dev) == 0) return {};  // proc(5): not on one block device
  LUMISK_TRY(const std::string node, block_device::nodeOf(status.st_dev));
  if (node.empty()) return {};
  const auto answers = volume::checkAnswers(node);
  if (answers || !mayNotBeAsked(answers.error())) return answers;
  return isSilent(folder) ? checkByReadingAFile(folder) : Result<void>();
}

Result<void> checkByReadingAFile(int folder) {
  const auto open = [](int from, const char* name) {
    return Descriptor(::openat(from, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  };
  for (Descriptor at = open(folder, "."); at.isOpen(); at = open(at.get(), "..")) {
    if (auto read = readSomeFileIn(at.get())) return *read;
    if (isRootOfItsFileSystem(at.get())) return fail(kOperation, ".", ENODATA);
  }
  return fail(kOperation, ".", errno);
}

}  // namespace lumisk
