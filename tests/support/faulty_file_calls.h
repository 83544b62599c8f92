#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/file_calls.h"
#include "support/result_code.h"

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
  using enum FileCall;

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

  Result<Descriptor> openRoot(const std::string& path) override { return open(kOpenRoot, &FileCalls::openRoot, path); }
  Result<Descriptor> openFolder(int at, const std::string& name) override {
    return open(kOpenFolder, &FileCalls::openFolder, at, name);
  }
  Result<Descriptor> openParent(int at) override { return open(kOpenParent, &FileCalls::openParent, at); }
  Result<void> listFolder(int at, std::vector<FolderEntry>& entries) override {
    return pass(kListFolder, &FileCalls::listFolder, at, entries);
  }
  Result<void> makeFolder(int at, const std::string& name, std::uint32_t mode) override {
    return pass(kMakeFolder, &FileCalls::makeFolder, at, name, mode);
  }
  Result<void> removeFolder(int at, const std::string& name) override {
    return pass(kRemoveFolder, &FileCalls::removeFolder, at, name);
  }
  Result<FileStatus> status(int at, const std::string& name) override {
    return pass(kStatus, &FileCalls::status, at, name);
  }
  Result<FileStatus> statusOf(int at) override { return pass(kStatusOf, &FileCalls::statusOf, at); }
  Result<SpaceStatus> spaceOf(int at) override { return pass(kSpaceOf, &FileCalls::spaceOf, at); }
  Result<void> checkDisk(int at) override { return pass(kCheckDisk, &FileCalls::checkDisk, at); }
  Result<void> mayRead(int at, const std::string& name) override {
    return pass(kMayRead, &FileCalls::mayRead, at, name);
  }
  Result<void> mayWrite(int at, const std::string& name) override {
    return pass(kMayWrite, &FileCalls::mayWrite, at, name);
  }
  Result<Descriptor> openFile(int at, const std::string& name) override {
    return open(kOpenFile, &FileCalls::openFile, at, name);
  }
  Result<Descriptor> openFileForWriting(int at, const std::string& name) override {
    return open(kOpenFileForWriting, &FileCalls::openFileForWriting, at, name);
  }
  Result<Descriptor> createFile(int at, const std::string& name, std::uint32_t mode) override {
    return open(kCreateFile, &FileCalls::createFile, at, name, mode);
  }
  Result<std::size_t> read(int file, std::span<std::byte> bytes) override {
    return pass(kRead, &FileCalls::read, file, bytes);
  }
  Result<std::size_t> write(int file, std::span<const std::byte> bytes) override {
    return pass(kWrite, &FileCalls::write, file, bytes);
  }
  Result<void> seek(int file, std::uint64_t to) override { return pass(kSeek, &FileCalls::seek, file, to); }
  Result<std::uint64_t> seekData(int file, std::uint64_t from) override {
    return pass(kSeekData, &FileCalls::seekData, file, from);
  }
  Result<std::uint64_t> seekHole(int file, std::uint64_t from) override {
    return pass(kSeekHole, &FileCalls::seekHole, file, from);
  }
  Result<void> truncate(int file, std::uint64_t size) override {
    return pass(kTruncate, &FileCalls::truncate, file, size);
  }
  Result<std::size_t> copyRange(int from, int to, std::size_t size) override;
  Result<void> cloneFile(int from, int to) override;
  Result<Descriptor> duplicate(int at) override { return open(kDuplicate, &FileCalls::duplicate, at); }
  Result<void> close(Descriptor file) override;
  Result<void> removeFile(int at, const std::string& name) override {
    return pass(kRemoveFile, &FileCalls::removeFile, at, name);
  }
  Result<void> rename(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                      Replace replace) override;
  Result<void> exchange(int folderA, const std::string& a, int folderB, const std::string& b) override;
  Result<void> link(int fromFolder, const std::string& from, int toFolder, const std::string& to) override;
  Result<void> makeLink(const std::string& text, int folder, const std::string& name) override;
  Result<std::string> readLink(int at, const std::string& name) override {
    return pass(kReadLink, &FileCalls::readLink, at, name);
  }
  Result<void> setOwner(int at, std::uint32_t owner, std::uint32_t group) override {
    return pass(kSetOwner, &FileCalls::setOwner, at, owner, group);
  }
  Result<void> setMode(int at, std::uint32_t mode) override { return pass(kSetMode, &FileCalls::setMode, at, mode); }
  Result<void> setModified(int at, FileTime time) override {
    return pass(kSetModified, &FileCalls::setModified, at, time);
  }
  Result<void> setLinkOwner(int at, const std::string& name, std::uint32_t owner, std::uint32_t group) override {
    return pass(kSetLinkOwner, &FileCalls::setLinkOwner, at, name, owner, group);
  }
  Result<void> setLinkModified(int at, const std::string& name, FileTime time) override {
    return pass(kSetLinkModified, &FileCalls::setLinkModified, at, name, time);
  }
  Result<std::vector<std::string>> listAttributes(int at) override {
    return pass(kListAttributes, &FileCalls::listAttributes, at);
  }
  Result<std::string> attribute(int descriptor, const std::string& attribute) override;
  Result<void> setAttribute(int descriptor, const std::string& attribute, std::string_view value) override;
  Result<void> removeAttribute(int descriptor, const std::string& attribute) override;
  Result<void> startSync(int file) override { return pass(kStartSync, &FileCalls::startSync, file); }
  Result<void> syncFile(int at) override { return pass(kSyncFile, &FileCalls::syncFile, at); }
  Result<void> syncFileSystem(int at) override { return pass(kSyncFileSystem, &FileCalls::syncFileSystem, at); }
  Result<void> lockExclusively(int at) override { return pass(kLockExclusively, &FileCalls::lockExclusively, at); }

 protected:
  FileCalls& real_;

 private:
  struct Rule {
    FileCall call;
    When when;
    int code = 0;                // 0: only the hook
    std::function<void()> hook;  // may be empty
  };
  Result<void> enter(FileCall call, const std::string& name, const std::string& secondName = {});
  Result<void> enter(FileCall call, int descriptor) { return enter(call, nameOf(descriptor)); }
  [[nodiscard]] std::string nameOf(int descriptor) const;
  Result<Descriptor> remember(Result<Descriptor> opened, const std::string& name);

  // What a call goes by: the name that it gives in a folder, a path, or the one under which its descriptor was opened.
  template <class... Rest>
  std::string named(int, const std::string& name, const Rest&...) const {
    return name;
  }
  template <class... Rest>
  std::string named(int descriptor, const Rest&...) const {
    return nameOf(descriptor);
  }
  static std::string named(const std::string& path) { return path; }
  template <class Answer, class... Wanted, class... Given>
  Answer pass(FileCall call, Answer (FileCalls::*function)(Wanted...), Given&&... given) {
    LUMISK_CHECK(enter(call, named(given...)));
    return (real_.*function)(std::forward<Given>(given)...);
  }
  template <class... Wanted, class... Given>
  Result<Descriptor> open(FileCall call, Result<Descriptor> (FileCalls::*function)(Wanted...), Given&&... given) {
    return remember(pass(call, function, given...), named(given...));
  }

  mutable std::mutex mutex_;
  std::vector<Rule> rules_;
  std::function<int(const Made&)> judge_;
  std::vector<Made> made_;
  std::map<int, std::string> names_;  // of open descriptors
};

}  // namespace lumisk::test
