#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

enum class FileType : std::uint8_t {
  kRegular,
  kFolder,
  kLink,
  kFifo,
  kSocket,
  kCharacterDevice,
  kBlockDevice,
  kUnknown
};

struct FileTime {
  std::int64_t seconds = 0;  // since 1970-01-01 UTC
  std::uint32_t nanoseconds = 0;
  friend auto operator<=>(const FileTime&, const FileTime&) = default;
};

// What stands for a file's identity while it exists: the same for all its names, on one machine and mount.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  friend auto operator<=>(const FileIdentity&, const FileIdentity&) = default;
};

struct FileStatus {
  FileType type = FileType::kUnknown;
  std::uint32_t mode = 0;  // the permission bits only, at most 07777
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::uint64_t size = 0;
  std::uint64_t blocks = 0;  // of 512 bytes; fewer than the size needs: the file has holes
  std::uint64_t links = 0;
  FileTime modified;
  FileTime changed;  // the inode's own change time
  FileTime created;  // {0, 0} where the file system does not know it
  FileIdentity identity;
  bool isMountRoot = false;        // the root of a mounted file system
  std::uint64_t deviceNumber = 0;  // what a device file stands for
  bool isImmutable = false;        // chattr +i
  bool isAppendOnly = false;       // chattr +a
};

struct FolderEntry {
  std::string name;
  FileType type = FileType::kUnknown;  // kUnknown where the file system does not tell in listings
};

struct SpaceStatus {
  std::uint64_t total = 0;      // bytes
  std::uint64_t available = 0;  // bytes that this user may still fill
  std::uint64_t free = 0;       // bytes that nothing lies on, those kept for the superuser among them
};

// Whether a rename may replace what has the new name.
enum class Replace : std::uint8_t { kNever, kAllowed };

// One method for each system call that a run makes, nothing more: no policy, no retries except EINTR, no logging.
// Everything works on an open folder and one name in it, so that a folder swapped for a link during a run leads
// nowhere; only openRoot() takes a path. A name is any bytes but "/" and NUL, never empty, never ".." except in
// openParent(). No call follows a symbolic link in the name it is given, except openRoot().
//
// realFileCalls() is the operating system; tests put a wrapper in front that fails on purpose. Both pass the
// conformance tests in tests/platform/file_calls_test.cpp. All methods may be called from any thread. An Error carries
// the name that was given as its path; callers who know the full path put it there.
class FileCalls {
 public:
  virtual ~FileCalls() = default;

  // Folders. Opening does not touch the folder's access time where the system permits that.
  virtual Result<Descriptor> openRoot(const std::string& path) = 0;  // a folder by its path, links followed
  virtual Result<Descriptor> openFolder(int folder, const std::string& name) = 0;
  virtual Result<Descriptor> openParent(int folder) = 0;  // ".." of an open folder; the caller compares identities
  // Appends all entries but "." and ".."; on failure what was appended so far is no listing and must not be used. Moves
  // the descriptor's position: two threads that list one folder need a descriptor each.
  virtual Result<void> listFolder(int folder, std::vector<FolderEntry>& entries) = 0;
  // The permissions of what is made are `mode` less the umask, or what the folder's default ACL says.
  virtual Result<void> makeFolder(int folder, const std::string& name, std::uint32_t mode) = 0;
  virtual Result<void> removeFolder(int folder, const std::string& name) = 0;  // an empty one

  // Status.
  virtual Result<FileStatus> status(int folder, const std::string& name) = 0;
  virtual Result<FileStatus> statusOf(int descriptor) = 0;
  virtual Result<SpaceStatus> spaceOf(int descriptor) = 0;
  // An error when the disk of the folder's file system has gone (checkDiskOf()).
  virtual Result<void> checkDisk(int folder) = 0;
  // Whether this user may read (folders: list and enter) or write (folders: change and enter) the entry, asked with the
  // effective ids.
  virtual Result<void> mayRead(int folder, const std::string& name) = 0;
  virtual Result<void> mayWrite(int folder, const std::string& name) = 0;

  // Files.
  // Never blocks on a fifo; fails with ELOOP on a link. The caller checks the type with statusOf().
  virtual Result<Descriptor> openFile(int folder, const std::string& name) = 0;
  virtual Result<Descriptor> openFileForWriting(int folder, const std::string& name) = 0;  // existing, not truncated
  virtual Result<Descriptor> createFile(int folder, const std::string& name, std::uint32_t mode) = 0;  // must not exist
  virtual Result<std::size_t> read(int file, std::span<std::byte> buffer) = 0;                         // 0 at the end
  virtual Result<std::size_t> write(int file, std::span<const std::byte> bytes) = 0;                   // may be short
  virtual Result<void> seek(int file, std::uint64_t offset) = 0;
  // Start of the next data at or after `offset`, and of the next hole; ENXIO when only a hole follows.
  virtual Result<std::uint64_t> seekData(int file, std::uint64_t offset) = 0;
  virtual Result<std::uint64_t> seekHole(int file, std::uint64_t offset) = 0;
  virtual Result<void> truncate(int file, std::uint64_t size) = 0;
  // Shares or copies bytes inside the kernel from the current positions; 0 at the end of `from`.
  virtual Result<std::size_t> copyRange(int from, int to, std::size_t size) = 0;
  virtual Result<void> cloneFile(int from, int to) = 0;  // shares all data of a file (FICLONE)
  virtual Result<Descriptor> duplicate(int descriptor) = 0;
  virtual Result<void> close(Descriptor file) = 0;  // reports what close reports; the descriptor is gone either way

  // Names.
  virtual Result<void> removeFile(int folder, const std::string& name) = 0;  // anything that is not a folder
  // With kAllowed and two names of one file the system does nothing, successfully: `from` is still there. kNever holds
  // on file systems that know no such rename, too; see renameWithoutReplacing() for what is left open there.
  virtual Result<void> rename(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                              Replace replace) = 0;
  virtual Result<void> exchange(int folderA, const std::string& a, int folderB, const std::string& b) = 0;
  virtual Result<void> link(int fromFolder, const std::string& from, int toFolder, const std::string& to) = 0;
  virtual Result<void> makeLink(const std::string& text, int folder, const std::string& name) = 0;
  virtual Result<std::string> readLink(int folder, const std::string& name) = 0;  // of any length

  // Metadata, by descriptor of a file or folder.
  virtual Result<void> setOwner(int descriptor, std::uint32_t owner, std::uint32_t group) = 0;
  virtual Result<void> setMode(int descriptor, std::uint32_t mode) = 0;
  virtual Result<void> setModified(int descriptor, FileTime modified) = 0;  // the access time becomes the same
  virtual Result<void> setLinkOwner(int folder, const std::string& name, std::uint32_t owner, std::uint32_t group) = 0;
  virtual Result<void> setLinkModified(int folder, const std::string& name, FileTime modified) = 0;
  virtual Result<std::vector<std::string>> listAttributes(int descriptor) = 0;
  virtual Result<std::string> attribute(int descriptor, const std::string& attribute) = 0;
  virtual Result<void> setAttribute(int descriptor, const std::string& attribute, std::string_view value) = 0;
  virtual Result<void> removeAttribute(int descriptor, const std::string& attribute) = 0;

  // Durability.
  // Begins to write a file's data back and does not wait: what is renamed after that is not empty after a crash, where
  // file systems see to that for a rename over another file only.
  virtual Result<void> startSync(int file) = 0;
  virtual Result<void> syncFile(int descriptor) = 0;        // a file or a folder
  virtual Result<void> syncFileSystem(int descriptor) = 0;  // all that its file system holds back
  // Takes an exclusive advisory lock that lasts as long as the descriptor; EWOULDBLOCK when another holds it.
  virtual Result<void> lockExclusively(int descriptor) = 0;
};

// The operating system itself. One object for the whole process, without state.
FileCalls& realFileCalls();

}  // namespace lumisk
