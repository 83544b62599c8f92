#pragma once

#include "support/faulty_file_calls.h"

namespace lumisk::test {

// FileCalls on a file system that takes names for the same that differ in letter case only, keeps the spelling that it
// was given first, and lists that one.
class FoldingFileCalls final : public FaultyFileCalls {
 public:
  using FaultyFileCalls::FaultyFileCalls;

  Result<Descriptor> openFolder(int at, const std::string& name) override {
    return real_.openFolder(at, listed(at, name));
  }
  Result<void> makeFolder(int at, const std::string& name, std::uint32_t mode) override {
    return real_.makeFolder(at, listed(at, name), mode);
  }
  Result<void> removeFolder(int at, const std::string& name) override {
    return real_.removeFolder(at, listed(at, name));
  }
  Result<FileStatus> status(int at, const std::string& name) override { return real_.status(at, listed(at, name)); }
  Result<void> mayRead(int at, const std::string& name) override { return real_.mayRead(at, listed(at, name)); }
  Result<void> mayWrite(int at, const std::string& name) override { return real_.mayWrite(at, listed(at, name)); }
  Result<Descriptor> openFile(int at, const std::string& name) override { return real_.openFile(at, listed(at, name)); }
  Result<Descriptor> openFileForWriting(int at, const std::string& name) override {
    return real_.openFileForWriting(at, listed(at, name));
  }
  Result<Descriptor> createFile(int at, const std::string& name, std::uint32_t mode) override {
    return real_.createFile(at, listed(at, name), mode);
  }
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
  Result<void> setLinkOwner(int at, const std::string& name, std::uint32_t owner, std::uint32_t group) override {
    return real_.setLinkOwner(at, listed(at, name), owner, group);
  }
  Result<void> setLinkModified(int at, const std::string& name, FileTime modified) override {
    return real_.setLinkModified(at, listed(at, name), modified);
  }

 private:
  // The name as the folder lists it; the given one when nothing has it.
  std::string listed(int folder, const std::string& name);
};

}  // namespace lumisk::test
