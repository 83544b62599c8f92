#include "platform/real_file_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/disk_answers.h"
#include "platform/paths.h"

namespace lumisk {

using system_calls::checked;
using system_calls::checkedName;
using system_calls::isEntryName;
using system_calls::openQuietly;
using system_calls::renameWithoutReplacing;
using system_calls::uninterrupted;

FileCalls& realFileCalls() {
  static RealFileCalls calls;
  return calls;
}

int system_calls::openQuietly(int folder, const char* name, int flags) {
  const int opened = uninterrupted([&] { return ::openat(folder, name, flags | O_CLOEXEC | O_NOATIME); });
  if (opened >= 0 || errno != EPERM) return opened;
  return uninterrupted([&] { return ::openat(folder, name, flags | O_CLOEXEC); });
}

namespace {

constexpr unsigned kStatusMask = STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_SIZE | STATX_BLOCKS |
                                 STATX_NLINK | STATX_INO | STATX_MTIME | STATX_CTIME | STATX_BTIME;
constexpr int kNoFollow = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

FileType typeOfMode(std::uint32_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return FileType::kRegular;
    case S_IFDIR:
      return FileType::kFolder;
    case S_IFLNK:
      return FileType::kLink;
    case S_IFIFO:
      return FileType::kFifo;
    case S_IFSOCK:
      return FileType::kSocket;
    case S_IFCHR:
      return FileType::kCharacterDevice;
    case S_IFBLK:
      return FileType::kBlockDevice;
    default:
      return FileType::kUnknown;
  }
}

FileTime timeOf(const statx_timestamp& time) {
  return {time.tv_sec, time.tv_nsec};
}

FileStatus statusOfStatx(const struct statx& raw) {
  FileStatus status;
  status.type = typeOfMode(raw.stx_mode);
  status.mode = raw.stx_mode & 07777U;
  status.owner = raw.stx_uid;
  status.group = raw.stx_gid;
  status.size = raw.stx_size;
  status.blocks = raw.stx_blocks;
  status.links = raw.stx_nlink;
  status.modified = timeOf(raw.stx_mtime);
  status.changed = timeOf(raw.stx_ctime);
  if (raw.stx_mask & STATX_BTIME) status.created = timeOf(raw.stx_btime);
  status.identity = {makedev(raw.stx_dev_major, raw.stx_dev_minor), raw.stx_ino};
  status.isMountRoot = (raw.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  status.deviceNumber = makedev(raw.stx_rdev_major, raw.stx_rdev_minor);
  status.isImmutable = (raw.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
  status.isAppendOnly = (raw.stx_attributes & STATX_ATTR_APPEND) != 0;
  return status;
}

// A path that is longer than one call takes, opened component by component.
int openLongFolder(const std::string& path) {
  const auto names = paths::components(path);
  Descriptor at(
      uninterrupted([&] { return ::open(path.front() == '/' ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  for (std::size_t i = 0; i + 1 < names.size() && at.isOpen(); ++i)
    at = Descriptor(
        uninterrupted([&] { return ::openat(at.get(), names[i].c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  if (!at.isOpen()) return -1;
  return openQuietly(at.get(), names.empty() ? "." : names.back().c_str(), O_RDONLY | O_DIRECTORY);
}

Result<void> mayAccess(const char* operation, int folder, const std::string& name, int access) {
  if (!isEntryName(name)) return fail(operation, name, EINVAL);
  struct statx raw;
  LUMISK_CHECK(checked(operation, name, [&] { return ::statx(folder, name.c_str(), kNoFollow, STATX_TYPE, &raw); }));
  if (S_ISDIR(raw.stx_mode)) access |= X_OK;
  return checked(operation, name,
                 [&] { return ::faccessat(folder, name.c_str(), access, AT_EACCESS | AT_SYMLINK_NOFOLLOW); });
}

FileType typeOfEntry(unsigned char type) {
  return type == DT_UNKNOWN ? FileType::kUnknown : typeOfMode(static_cast<std::uint32_t>(DTTOIF(type)));
}

bool isDotOrDotDot(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

}  // namespace

Result<void> system_calls::renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder,
                                                  const std::string& to) {
  if (uninterrupted([&] { return ::linkat(fromFolder, from.c_str(), toFolder, to.c_str(), 0); }) == 0) {
    if (uninterrupted([&] { return ::unlinkat(fromFolder, from.c_str(), 0); }) == 0) return {};
    const int code = errno;
    ::unlinkat(toFolder, to.c_str(), 0);
    return fail("rename", from, code);
  }
  if (errno == EEXIST) return fail("rename", from, EEXIST);
  struct statx raw;
  if (uninterrupted([&] { return ::statx(toFolder, to.c_str(), kNoFollow, STATX_TYPE, &raw); }) == 0)
    return fail("rename", from, EEXIST);
  if (errno != ENOENT) return fail("rename", from, errno);
  return checked("rename", from, [&] { return ::renameat(fromFolder, from.c_str(), toFolder, to.c_str()); });
}

Result<Descriptor> RealFileCalls::openRoot(const std::string& path) {
  if (path.find('\0') != std::string::npos) return fail("open", path, EINVAL);
  int opened = openQuietly(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY);
  if (opened < 0 && errno == ENAMETOOLONG && path.size() >= PATH_MAX) opened = openLongFolder(path);
  if (opened < 0) return fail("open", path, errno);
  return Descriptor(opened);
}

Result<Descriptor> RealFileCalls::openFolder(int folder, const std::string& name) {
  if (!isEntryName(name)) return fail("open", name, EINVAL);
  const int opened = openQuietly(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (opened < 0) return fail("open", name, errno);
  return Descriptor(opened);
}

Result<Descriptor> RealFileCalls::openParent(int folder) {
  const int opened = openQuietly(folder, "..", O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (opened < 0) return fail("open", "..", errno);
  return Descriptor(opened);
}

Result<void> RealFileCalls::listFolder(int folder, std::vector<FolderEntry>& entries) {
  LUMISK_CHECK(checked("list", ".", [&] { return ::lseek(folder, 0, SEEK_SET); }));
  constexpr std::size_t kBufferSize = 65536;
  alignas(dirent64) std::array<char, kBufferSize> buffer;
  for (;;) {
    const auto size = uninterrupted([&] { return ::getdents64(folder, buffer.data(), buffer.size()); });
    if (size < 0) return fail("list", ".", errno);
    if (size == 0) return {};
    for (const char* at = buffer.data(); at < buffer.data() + size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(at);
      if (!isDotOrDotDot(entry->d_name)) entries.push_back({entry->d_name, typeOfEntry(entry->d_type)});
      at += entry->d_reclen;
    }
  }
}

Result<void> RealFileCalls::makeFolder(int folder, const std::string& name, std::uint32_t mode) {
  return checkedName("make the folder", name, [&] { return ::mkdirat(folder, name.c_str(), mode); });
}

Result<void> RealFileCalls::removeFolder(int folder, const std::string& name) {
  return checkedName("remove the folder", name, [&] { return ::unlinkat(folder, name.c_str(), AT_REMOVEDIR); });
}

Result<FileStatus> RealFileCalls::status(int folder, const std::string& name) {
  struct statx raw;
  if (auto asked =
          checkedName("look at", name, [&] { return ::statx(folder, name.c_str(), kNoFollow, kStatusMask, &raw); });
      !asked)
    return fail(std::move(asked).error());
  return statusOfStatx(raw);
}

Result<FileStatus> RealFileCalls::statusOf(int descriptor) {
  struct statx raw;
  if (uninterrupted([&] { return ::statx(descriptor, "", AT_EMPTY_PATH, kStatusMask, &raw); }) < 0)
    return fail("look at", "", errno);
  return statusOfStatx(raw);
}

Result<SpaceStatus> RealFileCalls::spaceOf(int descriptor) {
  struct statvfs raw;
  LUMISK_CHECK(checked("ask for the free space", "", [&] { return ::fstatvfs(descriptor, &raw); }));
  return SpaceStatus{raw.f_blocks * raw.f_frsize, raw.f_bavail * raw.f_frsize, raw.f_bfree * raw.f_frsize};
}

Result<void> RealFileCalls::checkDisk(int folder) {
  return checkDiskOf(folder);
}

Result<void> RealFileCalls::mayRead(int folder, const std::string& name) {
  return mayAccess("read", folder, name, R_OK);
}

Result<void> RealFileCalls::mayWrite(int folder, const std::string& name) {
  return mayAccess("write", folder, name, W_OK);
}

Result<void> RealFileCalls::removeFile(int folder, const std::string& name) {
  return checkedName("remove", name, [&] { return ::unlinkat(folder, name.c_str(), 0); });
}

Result<void> RealFileCalls::rename(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                                   Replace replace) {
  if (!isEntryName(from) || !isEntryName(to)) return fail("rename", from, EINVAL);
  const unsigned flags = replace == Replace::kNever ? RENAME_NOREPLACE : 0;
  if (uninterrupted([&] { return ::renameat2(fromFolder, from.c_str(), toFolder, to.c_str(), flags); }) == 0) return {};
  if (flags != 0 && (errno == EINVAL || errno == ENOSYS)) return renameWithoutReplacing(fromFolder, from, toFolder, to);
  return fail("rename", from, errno);
}

Result<void> RealFileCalls::exchange(int folderA, const std::string& a, int folderB, const std::string& b) {
  if (!isEntryName(a) || !isEntryName(b)) return fail("exchange", a, EINVAL);
  return checked("exchange", a, [&] { return ::renameat2(folderA, a.c_str(), folderB, b.c_str(), RENAME_EXCHANGE); });
}

Result<void> RealFileCalls::link(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
  if (!isEntryName(from) || !isEntryName(to)) return fail("link", from, EINVAL);
  return checked("link", from, [&] { return ::linkat(fromFolder, from.c_str(), toFolder, to.c_str(), 0); });
}

Result<void> RealFileCalls::makeLink(const std::string& text, int folder, const std::string& name) {
  if (text.find('\0') != std::string::npos) return fail("make the link", name, EINVAL);
  return checkedName("make the link", name, [&] { return ::symlinkat(text.c_str(), folder, name.c_str()); });
}

Result<std::string> RealFileCalls::readLink(int folder, const std::string& name) {
  if (!isEntryName(name)) return fail("read the link", name, EINVAL);
  for (std::string text(256, '\0');; text.resize(text.size() * 4)) {
    const auto size = uninterrupted([&] { return ::readlinkat(folder, name.c_str(), text.data(), text.size()); });
    if (size < 0) return fail("read the link", name, errno);
    if (static_cast<std::size_t>(size) == text.size()) continue;  // may have been cut
    text.resize(static_cast<std::size_t>(size));
    return text;
  }
}

}  // namespace lumisk
