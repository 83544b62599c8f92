#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace lumisk {

// What tells one state of a file from another.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modifiedNanoseconds = 0;
  std::int64_t changedNanoseconds = 0;
  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

struct LoadedFile {
  std::string bytes;
  FileStamp stamp;
};

// The path with a link at its end followed, also one that leads to nothing yet. ELOOP when links go round.
Result<std::string> followLinks(const std::string& path);
Result<FileStamp> stampOf(const std::string& path);
// A regular file of at most 512 MiB; EISDIR, ENOTSUP or EFBIG for anything else. Never waits for a fifo.
Result<LoadedFile> loadFile(const std::string& path);

// Replaces the file, or what a link at the path points to, in one step that survives a power failure: the bytes go to a
// temporary sibling, which is synced and renamed, and the folder is synced. An existing file keeps its permissions and,
// when allowed, its owner; a new one gets `newMode` less the process's umask. Anything but a regular file is refused.
Result<void> replaceFile(const std::string& path, std::string_view bytes, unsigned newMode);
// Removes the temporary siblings of replacements that were killed: those that nobody has written to for a minute.
void removeAbandonedSiblings(const std::string& folder);
Result<void> syncFolder(const std::string& folder);

}  // namespace lumisk
