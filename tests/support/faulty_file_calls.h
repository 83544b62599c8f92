#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk::test {

// FileCalls that pass everything on and can be told to fail, or to let something happen in between.
//
//   FaultyFileCalls files;
//   files.fail(FileCall::kWrite, ENOSPC, {.name = "*.txt", .nth = 3});
//   files.before(FileCall::kRename, [&] { writeFile(tree / "b", "from somebody else"); });
//
// A call without a name in its arguments goes by the name under which its descriptor was opened through this object.
// May be used from several threads; hooks run on the calling thread and may make calls themselves.
enum class FileCall {
  kAny,
  kOpenRoot,
  kOpenFolder,
  kOpenParent,
  kListFolder,
  kMakeFolder,
  kRemoveFolder,
  kStatus,
  kStatusOf,
  kSpaceOf,
  kCheckDisk,
  kMayRead,
  kMayWrite,
  kOpenFile,
  kOpenFileForWriting,
  kCreateFile,
  kRead,
  kWrite,
  kSeek,
  kSeekData,
  kSeekHole,
  kTruncate,
  kCopyRange,
  kCloneFile,
  kDuplicate,
  kClose,
  kRemoveFile,
  kRename,
  kExchange,
  kLink,
  kMakeLink,
  kReadLink,
  kSetOwner,
  kSetMode,
  kSetModified,
  kSetLinkOwner,
  kSetLinkModified,
  kListAttributes,
  kAttribute,
  kSetAttribute,
  kRemoveAttribute,
  kStartSync,
  kSyncFile,
  kSyncFileSystem,
  kLockExclusively
};

class FaultyFileCalls : public FileCalls {
 public:
  explicit FaultyFileCalls(FileCalls& real = realFileCalls()) : real_(real) {}

  struct Made {
    FileCall call;
    std::string name;
    std::string secondName;
  };

  static constexpr int kAlways = -1;
  struct When {
    std::string name = "*";  // a pattern as in the shell; a call with two names is meant by either
    int nth = 1;             // counted from now on, among the calls that match
    int times = 1;           // how many calls from there on; kAlways for all
  };
  void fail(FileCall call, int code) { fail(call, code, When{}); }
  void fail(FileCall call, int code, When when);
  void before(FileCall call, std::function<void()> hook) { before(call, std::move(hook), When{}); }
  void before(FileCall call, std::function<void()> hook, When when);
  // Asked about each call after the rules, under a lock; an error code other than 0 fails it.
  void judge(std::function<int(const Made&)> judge);
  void forgetRules();

  [[nodiscard]] std::vector<Made> made() const;  // all calls up to now, also those that failed
  [[nodiscard]] int count(FileCall call, const std::string& name = "*") const;

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

 private:
  struct Rule {
    FileCall call;
    When when;
    int code = 0;                // 0: only the hook
    std::function<void()> hook;  // may be empty
  };
  Result<void> enter(FileCall call, const std::string& name, const std::string& secondName = {});
  Result<void> enter(FileCall call, int descriptor);
  [[nodiscard]] std::string nameOf(int descriptor) const;
  Result<Descriptor> remember(Result<Descriptor> opened, const std::string& name);

  FileCalls& real_;
  mutable std::mutex mutex_;
  std::vector<Rule> rules_;
  std::function<int(const Made&)> judge_;
  std::vector<Made> made_;
  std::map<int, std::string> names_;  // of open descriptors
};

}  // namespace lumisk::test
