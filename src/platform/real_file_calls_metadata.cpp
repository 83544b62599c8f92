#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>

#include "platform/real_file_calls.h"

namespace lumisk {

using system_calls::checked;
using system_calls::checkedName;
using system_calls::uninterrupted;

namespace {

std::array<timespec, 2> bothTimes(FileTime time) {
  const timespec value{time.seconds, static_cast<long>(time.nanoseconds)};
  return {value, value};
}

// The bytes that `call(buffer, size)` gives: first into a buffer on the stack that holds nearly everything, then into
// one of the size that the system names, again if it grew meanwhile.
template <class Call>
ssize_t readGrowing(std::string& bytes, Call call) {
  std::array<char, 1024> small;
  ssize_t size = uninterrupted([&] { return call(small.data(), small.size()); });
  if (size >= 0) bytes.assign(small.data(), static_cast<std::size_t>(size));
  while (size < 0 && errno == ERANGE) {
    bytes.clear();
    size = uninterrupted([&] { return call(nullptr, 0); });
    if (size <= 0) break;
    bytes.resize(static_cast<std::size_t>(size));
    size = uninterrupted([&] { return call(bytes.data(), bytes.size()); });
    if (size >= 0) bytes.resize(static_cast<std::size_t>(size));
  }
  return size;
}

std::vector<std::string> splitAtNul(const std::string& bytes) {
  std::vector<std::string> names;
  for (std::size_t at = 0; at < bytes.size(); at += names.back().size() + 1) names.emplace_back(bytes.c_str() + at);
  return names;
}

}  // namespace

Result<void> RealFileCalls::setOwner(int descriptor, std::uint32_t owner, std::uint32_t group) {
  return checked("set the owner", "", [&] { return ::fchown(descriptor, owner, group); });
}

Result<void> RealFileCalls::setMode(int descriptor, std::uint32_t mode) {
  return checked("set the permissions", "", [&] { return ::fchmod(descriptor, mode); });
}

Result<void> RealFileCalls::setModified(int descriptor, FileTime modified) {
  const auto times = bothTimes(modified);
  return checked("set the date", "", [&] { return ::futimens(descriptor, times.data()); });
}

Result<void> RealFileCalls::setLinkOwner(int folder, const std::string& name, std::uint32_t owner,
                                         std::uint32_t group) {
  return checkedName("set the owner", name,
                     [&] { return ::fchownat(folder, name.c_str(), owner, group, AT_SYMLINK_NOFOLLOW); });
}

Result<void> RealFileCalls::setLinkModified(int folder, const std::string& name, FileTime modified) {
  const auto times = bothTimes(modified);
  return checkedName("set the date", name,
                     [&] { return ::utimensat(folder, name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW); });
}

Result<std::vector<std::string>> RealFileCalls::listAttributes(int descriptor) {
  std::string bytes;
  if (readGrowing(bytes, [&](char* to, std::size_t size) { return ::flistxattr(descriptor, to, size); }) < 0)
    return fail("list the attributes", "", errno);
  return splitAtNul(bytes);
}

Result<std::string> RealFileCalls::attribute(int descriptor, const std::string& attribute) {
  std::string value;
  const auto read = [&](char* to, std::size_t size) { return ::fgetxattr(descriptor, attribute.c_str(), to, size); };
  if (readGrowing(value, read) < 0) return fail("read the attribute", attribute, errno);
  return value;
}

Result<void> RealFileCalls::setAttribute(int descriptor, const std::string& attribute, std::string_view value) {
  return checked("set the attribute", attribute,
                 [&] { return ::fsetxattr(descriptor, attribute.c_str(), value.data(), value.size(), 0); });
}

Result<void> RealFileCalls::removeAttribute(int descriptor, const std::string& attribute) {
  return checked("remove the attribute", attribute, [&] { return ::fremovexattr(descriptor, attribute.c_str()); });
}

Result<void> RealFileCalls::startSync(int file) {
  return checked("write back", "", [&] { return ::sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE); });
}

Result<void> RealFileCalls::syncFile(int descriptor) {
  return checked("sync", "", [&] { return ::fsync(descriptor); });
}

Result<void> RealFileCalls::syncFileSystem(int descriptor) {
  return checked("sync", "", [&] { return ::syncfs(descriptor); });
}

Result<void> RealFileCalls::lockExclusively(int descriptor) {
  return checked("lock", "", [&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); });
}

}  // namespace lumisk
