#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// The files with several names that a run has met, each with its first place at the destination, so that the further
// names become names of the same file there. A file is forgotten when all of its names were met.
class HardLinkMap {
 public:
  struct Copy {
    std::string root;    // the destination root, absolute
    std::string folder;  // below it
    std::string name;
    FileIdentity identity;  // of the file there
  };

  // Where the file went under its first name; nothing when this is the first, or when its content may have changed
  // since.
  [[nodiscard]] std::optional<Copy> find(const FileStatus& source) const;
  // A name of the file was dealt with; what stands at `copy` is its copy.
  void met(const FileStatus& source, const Copy& copy);

 private:
  // The system uses the inode numbers of removed files again: what else must be the same.
  struct Content {
    FileTime modified;
    FileTime created;
    std::uint64_t size = 0;
    friend bool operator==(const Content&, const Content&) = default;
  };
  struct First {
    Content content;
    std::uint32_t folder;  // of folders_
    std::string name;
    FileIdentity identity;
    std::uint64_t met = 1;
  };
  static Content contentOf(const FileStatus& status) { return {status.modified, status.created, status.size}; }
  std::uint32_t folderNumber(const Copy& copy);

  std::map<FileIdentity, First> firsts_;
  std::vector<std::pair<std::string, std::string>> folders_;  // root and path below it; neighbours share one
};

}  // namespace lumisk
