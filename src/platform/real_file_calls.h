#pragma once

#include <cerrno>

#include "platform/file_calls.h"

namespace lumisk {

// FileCalls on the system's own calls. Its methods are in three sources: folders, status and names; the data of files;
// metadata and durability.
class RealFileCalls final : public FileCalls {
 public:
  Result<Descriptor> openRoot(const std::string& path) override;
  Result<Descriptor> openFolder(int folder, const std::string& name) override;
  Result<Descriptor> openParent(int folder) override;
  Result<void> listFolder(int folder, std::vector<FolderEntry>& entries) override;
  Result<void> makeFolder(int folder, const std::string& name, std::uint32_t mode) override;
  Result<void> removeFolder(int folder, const std::string& name) override;

  Result<FileStatus> status(int folder, const std::string& name) override;
  Result<FileStatus> statusOf(int descriptor) override;
  Result<SpaceStatus> spaceOf(int descriptor) override;
  Result<void> checkDisk(int folder) override;
  Result<void> mayRead(int folder, const std::string& name) override;
  Result<void> mayWrite(int folder, const std::string& name) override;

  Result<Descriptor> openFile(int folder, const std::string& name) override;
  Result<Descriptor> openFileForWriting(int folder, const std::string& name) override;
  Result<Descriptor> createFile(int folder, const std::string& name, std::uint32_t mode) override;
  Result<std::size_t> read(int file, std::span<std::byte> buffer) override;
  Result<std::size_t> write(int file, std::span<const std::byte> bytes) override;
  Result<void> seek(int file, std::uint64_t offset) override;
  Result<std::uint64_t> seekData(int file, std::uint64_t offset) override;
  Result<std::uint64_t> seekHole(int file, std::uint64_t offset) override;
  Result<void> truncate(int file, std::uint64_t size) override;
  Result<std::size_t> copyRange(int from, int to, std::size_t size) override;
  Result<void> cloneFile(int from, int to) override;
  Result<Descriptor> duplicate(int descriptor) override;
  Result<void> close(Descriptor file) override;

  Result<void> removeFile(int folder, const std::string& name) override;
  Result<void> rename(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                      Replace replace) override;
  Result<void> exchange(int folderA, const std::string& a, int folderB, const std::string& b) override;
  Result<void> link(int fromFolder, const std::string& from, int toFolder, const std::string& to) override;
  Result<void> makeLink(const std::string& text, int folder, const std::string& name) override;
  Result<std::string> readLink(int folder, const std::string& name) override;

  Result<void> setOwner(int descriptor, std::uint32_t owner, std::uint32_t group) override;
  Result<void> setMode(int descriptor, std::uint32_t mode) override;
  Result<void> setModified(int descriptor, FileTime modified) override;
  Result<void> setLinkOwner(int folder, const std::string& name, std::uint32_t owner, std::uint32_t group) override;
  Result<void> setLinkModified(int folder, const std::string& name, FileTime modified) override;
  Result<std::vector<std::string>> listAttributes(int descriptor) override;
  Result<std::string> attribute(int descriptor, const std::string& attribute) override;
  Result<void> setAttribute(int descriptor, const std::string& attribute, std::string_view value) override;
  Result<void> removeAttribute(int descriptor, const std::string& attribute) override;

  Result<void> startSync(int file) override;
  Result<void> syncFile(int descriptor) override;
  Result<void> syncFileSystem(int descriptor) override;
  Result<void> lockExclusively(int descriptor) override;
};

namespace system_calls {

// Makes the call again when a signal interrupted it.
template <class Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Turns a call's -1 into an Error on `path`.
template <class Call>
Result<void> checked(const char* operation, const std::string& path, Call call) {
  if (uninterrupted(call) < 0) return fail(operation, path, errno);
  return {};
}

// Whether `name` is one entry of a folder. A name with a slash would be resolved through links, and one with a NUL
// would be cut: names come from stored lists, too.
[[nodiscard]] inline bool isEntryName(const std::string& name) {
  return !name.empty() && name != ".." && name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

template <class Call>
Result<void> checkedName(const char* operation, const std::string& name, Call call) {
  if (!isEntryName(name)) return fail(operation, name, EINVAL);
  return checked(operation, name, call);
}

// openat(2) that leaves the access time alone where the system permits that (owner or root).
int openQuietly(int folder, const char* name, int flags);

// For a file system that knows no RENAME_NOREPLACE (NFS, many in user space). A second name is never made over an
// existing one, so link and unlink keep the promise exactly; folders, and files where there are no hard links, are
// left with looking first, and lose the race against somebody who creates the name in that very moment.
Result<void> renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to);

}  // namespace system_calls
}  // namespace lumisk
