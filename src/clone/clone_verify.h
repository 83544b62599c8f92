#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "clone/clone_state.h"
#include "clone/content_copy.h"
#include "clone/folder_stack.h"

namespace lumisk {

// Reads both volumes and tells what differs: entries, contents byte by byte, link texts, owners, permissions, dates,
// attributes, and which names are one file. Writes nothing. Stops within one chunk of a cancel.
class CloneVerify {
 public:
  explicit CloneVerify(CloneState& state) : state_(state), content_(state), stack_(state.files) {}

  void run();

 private:
  void step();
  void compare(const std::string& name, const FileStatus& source, const FileStatus& target);
  void compareContents(const std::string& name, const FileStatus& source);
  void compareNames(const FileStatus& source, const FileStatus& target);
  void enter(const std::string& name);
  void tellExtras(const FolderPair& pair);
  void differs(const std::string& path, const std::string& how);
  template <class T>
  bool isRead(const Result<T>& result);

  CloneState& state_;
  ContentCopy content_;
  FolderStack stack_;
  std::string path_;
  std::unordered_map<std::uint64_t, std::uint64_t> linked_;  // the source's inode: the target's
};

}  // namespace lumisk
