#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// The source's files with several names that a clone has met, and what stands for each of them at the target, so that
// the target's sets of names become the source's: names of one file there are names of one here, and no two files there
// share one here. A file's place is forgotten when all of its names were met; 40 to 200 bytes for each until then.
class LinkSets {
 public:
  struct Place {
    std::string folder;  // below the root, "" for the root itself
    std::string name;
    FileIdentity identity;  // at the target
  };

  // What became of the file under its first name; nothing when this is the first, or when the source may have put
  // another file in its place.
  [[nodiscard]] std::optional<Place> find(const FileStatus& source) const;
  // Whether the target's file already stands for another of the source's.
  [[nodiscard]] bool isTaken(const FileIdentity& target, const FileStatus& source) const;
  // `target` stands for this name of the source's file. It stood there before this clone: it may have further names.
  void met(const FileStatus& source, const Place& target, bool stoodBefore);

 private:
  struct Content {
    FileTime modified;
    std::uint64_t size = 0;
    friend bool operator==(const Content&, const Content&) = default;
  };
  struct First {
    Content content;
    std::uint32_t folder;  // of folders_
    std::string name;
    std::uint64_t inode;  // at the target, where all are on one device
    std::uint64_t met = 1;
  };
  static Content contentOf(const FileStatus& status) { return {status.modified, status.size}; }
  std::uint32_t numberOf(const std::string& folder);

  std::unordered_map<std::uint64_t, First> firsts_;           // by the source's inode
  std::unordered_map<std::uint64_t, std::uint64_t> takenBy_;  // the target's inode: the source's
  std::vector<std::string> folders_;                          // neighbours share one
  std::uint64_t targetDevice_ = 0;
};

}  // namespace lumisk
