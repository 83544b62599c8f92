#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>

#include "platform/real_file_calls.h"

namespace lumisk {

using system_calls::checked;
using system_calls::isEntryName;
using system_calls::openQuietly;
using system_calls::uninterrupted;

namespace {

// O_NONBLOCK keeps a fifo from holding us up, but makes open(2) fail with EWOULDBLOCK on a regular file that a file
// server has a lease on. Such a file is opened again without it, through a descriptor that cannot change its type
// meanwhile; that waits until the lease is given back.
int openLeased(int folder, const std::string& name, int flags) {
  const Descriptor found(
      uninterrupted([&] { return ::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
  struct stat status;
  if (!found.isOpen() || ::fstat(found.get(), &status) != 0) return -1;
  if (!S_ISREG(status.st_mode)) {
    errno = EWOULDBLOCK;
    return -1;
  }
  const std::string path = "/proc/self/fd/" + std::to_string(found.get());
  return openQuietly(AT_FDCWD, path.c_str(), flags & ~(O_NONBLOCK | O_NOFOLLOW));
}

Result<Descriptor> openExisting(int folder, const std::string& name, int access) {
  if (!isEntryName(name)) return fail("open", name, EINVAL);
  const int flags = access | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  int opened = openQuietly(folder, name.c_str(), flags);
  if (opened < 0 && errno == EWOULDBLOCK) opened = openLeased(folder, name, flags);
  if (opened < 0) return fail("open", name, errno);
  return Descriptor(opened);
}

Result<std::uint64_t> seekTo(int file, std::uint64_t offset, int whence) {
  if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return fail("seek", "", EOVERFLOW);
  const off_t reached = uninterrupted([&] { return ::lseek(file, static_cast<off_t>(offset), whence); });
  if (reached < 0) return fail("seek", "", errno);
  return static_cast<std::uint64_t>(reached);
}

Result<std::size_t> byteCount(const char* operation, ssize_t size) {
  if (size < 0) return fail(operation, "", errno);
  return static_cast<std::size_t>(size);
}

}  // namespace

Result<Descriptor> RealFileCalls::openFile(int folder, const std::string& name) {
  return openExisting(folder, name, O_RDONLY);
}

Result<Descriptor> RealFileCalls::openFileForWriting(int folder, const std::string& name) {
  return openExisting(folder, name, O_WRONLY);
}

Result<Descriptor> RealFileCalls::createFile(int folder, const std::string& name, std::uint32_t mode) {
  if (!isEntryName(name)) return fail("create", name, EINVAL);
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const int opened = uninterrupted([&] { return ::openat(folder, name.c_str(), kFlags, mode); });
  if (opened < 0) return fail("create", name, errno);
  return Descriptor(opened);
}

Result<std::size_t> RealFileCalls::read(int file, std::span<std::byte> buffer) {
  return byteCount("read", uninterrupted([&] { return ::read(file, buffer.data(), buffer.size()); }));
}

Result<std::size_t> RealFileCalls::write(int file, std::span<const std::byte> bytes) {
  return byteCount("write", uninterrupted([&] { return ::write(file, bytes.data(), bytes.size()); }));
}

Result<void> RealFileCalls::seek(int file, std::uint64_t offset) {
  LUMISK_CHECK(seekTo(file, offset, SEEK_SET));
  return {};
}

Result<std::uint64_t> RealFileCalls::seekData(int file, std::uint64_t offset) {
  return seekTo(file, offset, SEEK_DATA);
}

Result<std::uint64_t> RealFileCalls::seekHole(int file, std::uint64_t offset) {
  return seekTo(file, offset, SEEK_HOLE);
}

Result<void> RealFileCalls::truncate(int file, std::uint64_t size) {
  if (size > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return fail("truncate", "", EFBIG);
  return checked("truncate", "", [&] { return ::ftruncate(file, static_cast<off_t>(size)); });
}

Result<std::size_t> RealFileCalls::copyRange(int from, int to, std::size_t size) {
  return byteCount("copy", uninterrupted([&] { return ::copy_file_range(from, nullptr, to, nullptr, size, 0); }));
}

Result<void> RealFileCalls::cloneFile(int from, int to) {
  return checked("clone", "", [&] { return ::ioctl(to, FICLONE, from); });
}

Result<Descriptor> RealFileCalls::duplicate(int descriptor) {
  const int copy = uninterrupted([&] { return ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0); });
  if (copy < 0) return fail("duplicate", "", errno);
  return Descriptor(copy);
}

Result<void> RealFileCalls::close(Descriptor file) {
  // Never again after EINTR: the number is free by then and may be another thread's.
  if (::close(file.release()) != 0) return fail("close", "", errno);
  return {};
}

}  // namespace lumisk
