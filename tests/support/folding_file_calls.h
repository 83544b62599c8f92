#pragma once

#include "platform/file_calls.h"

namespace lumisk::test {

// FileCalls on a file system that takes names for the same that differ in letter case only, keeps the spelling that it
// was given first, and lists that one.
class FoldingFileCalls final : public FileCalls {
 public:
  explicit FoldingFileCalls(FileCalls& real = realFileCalls()) : real_(real) {}

  Result<Descriptor> openRoot(const std::string& path) override { return real_.openRoot(path); }
  Result<Descriptor> openFolder(int at, const std::string& name) override {
    return real_.openFolder(at, listed(at, name));
  }
  Result<Descriptor> openParent(int at) override { return real_.openParent(at); }
  Result<void> listFolder(int at, std::vector<FolderEntry>& entries) override { return real_.listFolder(at, entries); }
  Result<void> makeFolder(int at, const std::string& name, std::uint32_t mode) override {
    return real_.makeFolder(at, listed(at, name), mode);
  }
  Result<void> removeFolder(int at, const std::string& name) override {
    return real_.removeFolder(at, listed(at, name));
  }
  Result<FileStatus> status(int at, const std::string& name) override { return real_.status(at, listed(at, name)); }
  Result<FileStatus> statusOf(int descriptor) override { return real_.statusOf(descriptor); }
  Result<SpaceStatus> spaceOf(int descriptor) override { return real_.spaceOf(descriptor); }
  Result<void> checkDisk(int folder) override { return real_.checkDisk(folder); }
  Result<void> mayRead(int at, const std::string& name) override { return real_.mayRead(at, listed(at, name)); }
  Result<void> mayWrite(int at, const std::string& name) override { return real_.mayWrite(at, listed(at, name)); }
  Result<Descriptor> openFile(int at, const std::string& name) override { return real_.openFile(at, listed(at, name)); }
  Result<Descriptor> openFileForWriting(int at, const std::string& name) override {
    return real_.openFileForWriting(at, listed(at, name));
  }
  Result<Descriptor> createFile(int at, const std::string& name, std::uint32_t mode) override {
    return real_.createFile(at, listed(at, name), mode);
  }
  Result<std::size_t> read(int file, std::span<std::byte> buffer) override { return real_.read(file, buffer); }
  Result<std::size_t> write(int file, std::span<const std::byte> bytes) override { return real_.write(file, bytes); }
  Result<void> seek(int file, std::uint64_t offset) override { return real_.seek(file, offset); }
  Result<std::uint64_t> seekData(int file, std::uint64_t offset) override { return real_.seekData(file, offset); }
  Result<std::uint64_t> seekHole(int file, std::uint64_t offset) override { return real_.seekHole(file, offset); }
  Result<void> truncate(int file, std::uint64_t size) override { return real_.truncate(file, size); }
  Result<std::size_t> copyRange(int from, int to, std::size_t size) override { return real_.copyRange(from, to, size); }
  Result<void> cloneFile(int from, int to) override { return real_.cloneFile(from, to); }
  Result<Descriptor> duplicate(int descriptor) override { return real_.duplicate(descriptor); }
  Result<void> close(Descriptor file) override { return real_.close(std::move(file)); }
  Result<void> removeFile(int at, const std::string& name) override { return real_.removeFile(at, listed(at, name)); }
  Result<void> rename(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                      Replace replace) override {
    return real_.rename(fromFolder, listed(fromFolder, from), toFolder, listed(toFolder, to), replace);
  }
  Result<void> exchange(int folderA, const std::string& a, int folderB, const std::string& b) override {
    return real_.exchange(folderA, listed(folderA, a), folderB, listed(folderB, b));
  }
  Result<void> link(int fromFolder, const std::string& from, int toFolder, const std::string& to) override {
    return real_.link(fromFolder, listed(fromFolder, from), toFolder, listed(toFolder, to));
  }
  Result<void> makeLink(const std::string& text, int at, const std::string& name) override {
    return real_.makeLink(text, at, listed(at, name));
  }
  Result<std::string> readLink(int at, const std::string& name) override {
    return real_.readLink(at, listed(at, name));
  }
  Result<void> setOwner(int descriptor, std::uint32_t owner, std::uint32_t group) override {
    return real_.setOwner(descriptor, owner, group);
  }
  Result<void> setMode(int descriptor, std::uint32_t mode) override { return real_.setMode(descriptor, mode); }
  Result<void> setModified(int descriptor, FileTime modified) override {
    return real_.setModified(descriptor, modified);
  }
  Result<void> setLinkOwner(int at, const std::string& name, std::uint32_t owner, std::uint32_t group) override {
    return real_.setLinkOwner(at, listed(at, name), owner, group);
  }
  Result<void> setLinkModified(int at, const std::string& name, FileTime modified) override {
    return real_.setLinkModified(at, listed(at, name), modified);
  }
  Result<std::vector<std::string>> listAttributes(int descriptor) override { return real_.listAttributes(descriptor); }
  Result<std::string> attribute(int descriptor, const std::string& attribute) override {
    return real_.attribute(descriptor, attribute);
  }
  Result<void> setAttribute(int descriptor, const std::string& attribute, std::string_view value) override {
    return real_.setAttribute(descriptor, attribute, value);
  }
  Result<void> removeAttribute(int descriptor, const std::string& attribute) override {
    return real_.removeAttribute(descriptor, attribute);
  }
  Result<void> startSync(int file) override { return real_.startSync(file); }
  Result<void> syncFile(int descriptor) override { return real_.syncFile(descriptor); }
  Result<void> syncFileSystem(int descriptor) override { return real_.syncFileSystem(descriptor); }
  Result<void> lockExclusively(int descriptor) override { return real_.lockExclusively(descriptor); }

 private:
  // The name as the folder lists it; the given one when nothing has it.
  std::string listed(int folder, const std::string& name);

  FileCalls& real_;
};

}  // namespace lumisk::test
