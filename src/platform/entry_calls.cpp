#include "platform/entry_calls.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>

#include "platform/real_file_calls.h"

namespace lumisk::entry_calls {

using system_calls::checked;
using system_calls::checkedName;
using system_calls::isEntryName;
using system_calls::uninterrupted;

namespace {

// listxattrat(2) came with Linux 6.13 and costs a third of the way through /proc; the C library does not know it yet.
// The number is the same on all machines.
constexpr long kListAttributesAt = 465;

std::string pathOf(int folder, const std::string& name) {
  return "/proc/self/fd/" + std::to_string(folder) + "/" + name;
}

ssize_t listAt(int folder, const std::string& name, char* buffer, std::size_t size) {
  static std::atomic<bool> isKnown{true};
  if (isKnown.load(std::memory_order_relaxed)) {
    const long listed = ::syscall(kListAttributesAt, folder, name.c_str(), AT_SYMLINK_NOFOLLOW, buffer, size);
    if (listed >= 0 || (errno != ENOSYS && errno != EPERM)) return listed;
    // A sandbox that knows the call no better refuses it with EPERM, which listing never gives by itself.
    isKnown = false;
  }
  return ::llistxattr(pathOf(folder, name).c_str(), buffer, size);
}

// The bytes that `call(buffer, size)` gives: first into a buffer that holds nearly everything, then into ones of the
// size that the system names, for as long as they grow.
template <class Call>
Result<std::string> readAll(const char* operation, const std::string& about, Call call) {
  std::array<char, 1024> small;
  ssize_t size = uninterrupted([&] { return call(small.data(), small.size()); });
  if (size >= 0) return std::string(small.data(), static_cast<std::size_t>(size));
  std::string bytes;
  while (size < 0 && errno == ERANGE) {
    size = uninterrupted([&] { return call(nullptr, 0); });
    if (size < 0) break;
    bytes.resize(static_cast<std::size_t>(size));
    size = uninterrupted([&] { return call(bytes.data(), bytes.size()); });
  }
  if (size < 0) return fail(operation, about, errno);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

mode_t typeBitsOf(FileType type) {
  switch (type) {
    case FileType::kFifo:
      return S_IFIFO;
    case FileType::kCharacterDevice:
      return S_IFCHR;
    case FileType::kBlockDevice:
      return S_IFBLK;
    case FileType::kRegular:
      return S_IFREG;
    case FileType::kFolder:
      return S_IFDIR;
    default:
      return 0;
  }
}

}  // namespace

Result<void> makeSpecialFile(int folder, const std::string& name, const FileStatus& like) {
  const mode_t type = typeBitsOf(like.type);
  if (type == 0 || type == S_IFREG || type == S_IFDIR) return fail("make the special file", name, EINVAL);
  return checkedName("make the special file", name, [&] {
    return ::mknodat(folder, name.c_str(), type | (like.mode & 0777), type == S_IFIFO ? 0 : like.deviceNumber);
  });
}

// fchmodat(2) follows links, so it is asked of what was found, which cannot become anything else.
Result<void> setMode(int folder, const std::string& name, FileType type, std::uint32_t mode) {
  constexpr const char* kOperation = "set the permissions";
  if (!isEntryName(name)) return fail(kOperation, name, EINVAL);
  const Descriptor found(
      uninterrupted([&] { return ::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
  struct stat status;
  if (!found.isOpen() || ::fstat(found.get(), &status) != 0) return fail(kOperation, name, errno);
  if ((status.st_mode & S_IFMT) != typeBitsOf(type)) return fail(kOperation, name, ESTALE);
  const std::string path = "/proc/self/fd/" + std::to_string(found.get());
  return checked(kOperation, name, [&] { return ::chmod(path.c_str(), mode); });
}

Result<std::vector<std::string>> listAttributes(int folder, const std::string& name) {
  if (!isEntryName(name)) return fail("list the attributes", name, EINVAL);
  LUMISK_TRY(const std::string bytes, readAll("list the attributes", name, [&](char* to, std::size_t size) {
               return listAt(folder, name, to, size);
             }));
  std::vector<std::string> names;
  for (std::size_t at = 0; at < bytes.size(); at += names.back().size() + 1) names.emplace_back(bytes.c_str() + at);
  return names;
}

Result<std::string> attribute(int folder, const std::string& name, const std::string& attribute) {
  if (!isEntryName(name)) return fail("read the attribute", name, EINVAL);
  const std::string path = pathOf(folder, name);
  return readAll("read the attribute", attribute,
                 [&](char* to, std::size_t size) { return ::lgetxattr(path.c_str(), attribute.c_str(), to, size); });
}

Result<void> setAttribute(int folder, const std::string& name, const std::string& attribute, std::string_view value) {
  if (!isEntryName(name)) return fail("set the attribute", name, EINVAL);
  const std::string path = pathOf(folder, name);
  return checked("set the attribute", attribute,
                 [&] { return ::lsetxattr(path.c_str(), attribute.c_str(), value.data(), value.size(), 0); });
}

Result<void> removeAttribute(int folder, const std::string& name, const std::string& attribute) {
  if (!isEntryName(name)) return fail("remove the attribute", name, EINVAL);
  const std::string path = pathOf(folder, name);
  return checked("remove the attribute", attribute, [&] { return ::lremovexattr(path.c_str(), attribute.c_str()); });
}

Result<void> setProtection(int descriptor, Protection protection) {
  int flags = 0;
  LUMISK_CHECK(checked("read the flags", "", [&] { return ::ioctl(descriptor, FS_IOC_GETFLAGS, &flags); }));
  const int wanted = (flags & ~(FS_IMMUTABLE_FL | FS_APPEND_FL)) | (protection.isImmutable ? FS_IMMUTABLE_FL : 0) |
                     (protection.isAppendOnly ? FS_APPEND_FL : 0);
  if (wanted == flags) return {};
  return checked("set the flags", "", [&] { return ::ioctl(descriptor, FS_IOC_SETFLAGS, &wanted); });
}

void forgetCachedData(int file) {
  ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
}

}  // namespace lumisk::entry_calls
