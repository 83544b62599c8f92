#include "platform/untrusted_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/home_folder.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr const char* kOpen = "open";
constexpr int kPlace = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

Result<struct stat> statusOf(int descriptor, const std::string& name) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return fail("look at", name, errno);
  return status;
}

// What its folder's sticky bit protects is safe only when it belongs to root itself, which the next component shows.
bool isRootsOwn(const struct stat& status) {
  const bool isOpenToOthers =
      (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0);
  return status.st_uid == 0 && (!isOpenToOthers || (status.st_mode & S_ISVTX) != 0);
}

Result<void> checkIsRoots(int folder, const std::string& path) {
  LUMISK_TRY(const struct stat status, statusOf(folder, path));
  if (isRootsOwn(status)) return {};
  return fail("use the place", path, EPERM, "others can move a folder above it");
}

Result<void> checkIsPrivateFile(const struct stat& status, const std::string& name, const PrivateFileRules& rules) {
  if (S_ISDIR(status.st_mode)) return fail("read", name, EISDIR);
  if (!S_ISREG(status.st_mode)) return fail("read", name, ENOTSUP, "not a regular file");
  if (status.st_uid != rules.owner) return fail("read", name, EPERM, "it belongs to somebody else");
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) return fail("read", name, EPERM, "others may write it");
  if (static_cast<std::uint64_t>(status.st_size) > rules.largest) return fail("read", name, EFBIG);
  return {};
}

Result<std::string> readWhole(int file, const std::string& name, std::size_t largest) {
  std::string bytes(largest + 1, '\0');
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t got = ::read(file, bytes.data() + filled, bytes.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return fail("read", name, errno);
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  if (filled > largest) return fail("read", name, EFBIG);
  bytes.resize(filled);
  return bytes;
}

Result<void> writeWhole(Descriptor file, std::string_view bytes, const std::string& name, Sync sync) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return fail("write", name, errno);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  if ((sync == Sync::kYes && ::fsync(file.get()) != 0) || ::close(file.release()) != 0)
    return fail("write", name, errno);
  return {};
}

}  // namespace

bool isPlainPath(const std::string& path) {
  return path.starts_with('/') && path.find('\0') == std::string::npos && paths::normalised(path, "/") == path;
}

Result<Descriptor> openFolderWithoutLinks(const std::string& path, Way way) {
  if (!isPlainPath(path)) return fail(kOpen, path, EINVAL, "not a plain absolute path");
  Descriptor folder(::open("/", kPlace));
  for (const std::string& name : paths::components(path)) {
    if (way == Way::kOnlyRoots) LUMISK_CHECK(checkIsRoots(folder.get(), path));
    Descriptor next(::openat(folder.get(), name.c_str(), kPlace));
    if (!next.isOpen()) return fail(kOpen, path, errno);
    folder = std::move(next);
  }
  if (!folder.isOpen()) return fail(kOpen, path, errno);
  return folder;
}

Result<std::string> readPrivateFile(int folder, const std::string& name, const PrivateFileRules& rules) {
  const Descriptor file(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file.isOpen()) return fail(kOpen, name, errno == ENXIO ? ENOTSUP : errno);
  LUMISK_TRY(const struct stat status, statusOf(file.get(), name));
  LUMISK_CHECK(checkIsPrivateFile(status, name, rules));
  return readWhole(file.get(), name, rules.largest);
}

Result<void> checkFolderOwner(int folder, std::uint32_t owner) {
  LUMISK_TRY(const struct stat status, statusOf(folder, ""));
  if (status.st_uid != owner) return fail("use the folder", "", EPERM, "it belongs to somebody else");
  if ((status.st_mode & S_IWOTH) != 0) return fail("use the folder", "", EPERM, "everybody may write in it");
  return {};
}

Result<void> replaceEntry(int folder, const std::string& name, std::string_view bytes, Sync sync) {
  const std::string temporary = ".lumisk-" + generateUUID();
  Descriptor file(::openat(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.isOpen()) return fail("create", temporary, errno);
  auto done = writeWhole(std::move(file), bytes, name, sync);
  if (done && ::renameat(folder, temporary.c_str(), folder, name.c_str()) != 0) done = fail("replace", name, errno);
  if (!done) ::unlinkat(folder, temporary.c_str(), 0);
  return done;
}

Result<void> removeEntry(int folder, const std::string& name) {
  if (::unlinkat(folder, name.c_str(), 0) != 0 && errno != ENOENT) return fail("remove", name, errno);
  return {};
}

}  // namespace lumisk
