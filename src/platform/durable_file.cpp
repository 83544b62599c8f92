#include "platform/durable_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <optional>
#include <utility>

#include "platform/descriptor.h"
#include "platform/home_folder.h"
#include "platform/paths.h"

namespace lumisk {

namespace {

constexpr std::uint64_t kLargestFile = 512ULL << 20;  // a file larger than this holds something else

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U) + time.tv_nsec;
}

FileStamp stampFrom(const struct stat& status) {
  return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size), nanoseconds(status.st_mtim),
          nanoseconds(status.st_ctim)};
}

Result<void> checkIsFile(const struct stat& status, const std::string& path) {
  if (S_ISREG(status.st_mode)) return {};
  if (S_ISDIR(status.st_mode)) return fail("use as a file", path, EISDIR);
  return fail("use as a file", path, ENOTSUP, "not a regular file");
}

Result<std::string> readAll(int file, std::size_t expected, const std::string& path) {
  std::string bytes(expected + 1, '\0');  // one more, so that the end is seen without another round
  std::size_t filled = 0;
  while (true) {
    const auto got = ::read(file, bytes.data() + filled, bytes.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return fail("read", path, errno);
    filled += static_cast<std::size_t>(got);
    if (got == 0) return bytes.resize(filled), std::move(bytes);
    if (filled > kLargestFile) return fail("read", path, EFBIG);
    if (filled == bytes.size()) bytes.resize(2 * bytes.size());
  }
}

Result<void> writeAll(int file, std::string_view bytes, const std::string& path) {
  while (!bytes.empty()) {
    const auto written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return fail("write", path, errno);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

constexpr std::string_view kSiblingPrefix = ".lumisk-";

bool isSiblingName(std::string_view name) {
  constexpr std::size_t kUuidLength = 36;
  return name.starts_with(kSiblingPrefix) && name.size() == kSiblingPrefix.size() + kUuidLength;
}

bool isAbandoned(const struct stat& status) {
  constexpr time_t kLongestWriteSeconds = 60;
  return S_ISREG(status.st_mode) && status.st_mtime < ::time(nullptr) - kLongestWriteSeconds;
}

// A file that disappears unless it was kept.
class TemporarySibling {
 public:
  explicit TemporarySibling(const std::string& target)
      : path_(paths::join(paths::parent(target), std::string(kSiblingPrefix) + generateUUID())) {}
  TemporarySibling(const TemporarySibling&) = delete;
  TemporarySibling& operator=(const TemporarySibling&) = delete;
  ~TemporarySibling() {
    if (created_) ::unlink(path_.c_str());
  }

  Result<Descriptor> create(unsigned mode) {
    Descriptor file(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!file.isOpen()) return fail("create", path_, errno);
    created_ = true;
    return file;
  }
  Result<void> become(const std::string& target) {
    if (::rename(path_.c_str(), target.c_str()) != 0) return fail("replace", target, errno);
    created_ = false;
    return {};
  }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool created_ = false;
};

// The status of the file that will be replaced; nothing when there is none.
Result<std::optional<struct stat>> existing(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return std::optional<struct stat>();
    return fail("look at", path, errno);
  }
  LUMISK_CHECK(checkIsFile(status, path));
  return std::optional(status);
}

// Closing can still fail: some file systems report only then that the disk was full.
Result<void> finish(Descriptor file, const std::string& path) {
  if (::fsync(file.get()) != 0) return fail("sync", path, errno);
  if (::close(file.release()) != 0 && errno != EINTR) return fail("close", path, errno);
  return {};
}

}  // namespace

Result<std::string> followLinks(const std::string& path) {
  constexpr int kMostLinks = 40;  // the kernel's own limit
  std::string current = path;
  for (int i = 0; i < kMostLinks; ++i) {
    std::string target(4096, '\0');
    const auto length = ::readlink(current.c_str(), target.data(), target.size());
    if (length < 0 && (errno == EINVAL || errno == ENOENT)) return current;
    if (length < 0) return fail("follow the link", current, errno);
    target.resize(static_cast<std::size_t>(length));
    current = target.starts_with('/') ? target : paths::join(paths::parent(current), target);
  }
  return fail("follow the link", path, ELOOP);
}

Result<FileStamp> stampOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return fail("look at", path, errno);
  return stampFrom(status);
}

Result<LoadedFile> loadFile(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.isOpen()) return fail("open", path, errno);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return fail("look at", path, errno);
  LUMISK_CHECK(checkIsFile(status, path));
  const auto stamp = stampFrom(status);
  if (stamp.size > kLargestFile) return fail("read", path, EFBIG);
  LUMISK_TRY(auto bytes, readAll(file.get(), static_cast<std::size_t>(stamp.size), path));
  return LoadedFile{std::move(bytes), stamp};
}

Result<void> replaceFile(const std::string& path, std::string_view bytes, unsigned newMode) {
  LUMISK_TRY(const auto target, followLinks(path));
  LUMISK_TRY(const auto old, existing(target));
  TemporarySibling sibling(target);
  LUMISK_TRY(auto file, sibling.create(old ? 0600 : newMode));
  LUMISK_CHECK(writeAll(file.get(), bytes, sibling.path()));
  if (old) {
    // Before the permissions: a change of the owner clears some of them. Not being allowed to is no reason not to
    // write.
    [[maybe_unused]] const int owned = ::fchown(file.get(), old->st_uid, old->st_gid);
    if (::fchmod(file.get(), old->st_mode & 07777) != 0) return fail("set the permissions", sibling.path(), errno);
  }
  LUMISK_CHECK(finish(std::move(file), sibling.path()));
  LUMISK_CHECK(sibling.become(target));
  return syncFolder(paths::parent(target));
}

void removeAbandonedSiblings(const std::string& folder) {
  DIR* const listing = ::opendir(folder.c_str());
  if (!listing) return;
  struct stat status {};
  while (const dirent* const entry = ::readdir(listing)) {
    if (!isSiblingName(entry->d_name)) continue;
    if (::fstatat(::dirfd(listing), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && isAbandoned(status))
      ::unlinkat(::dirfd(listing), entry->d_name, 0);
  }
  ::closedir(listing);
}

Result<void> syncFolder(const std::string& folder) {
  const std::string path = folder.empty() ? "." : folder;
  const Descriptor open(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!open.isOpen()) return fail("open", path, errno);
  // Some file systems cannot sync a folder; there the rename is as durable as they make it.
  if (::fsync(open.get()) != 0 && errno != EINVAL && errno != ENOTSUP) return fail("sync", path, errno);
  return {};
}

}  // namespace lumisk
