#pragma once

#include <optional>
#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// What a clone decides about a pair of entries: pure functions, values in, verdict out.

// Sockets belong to the program that made them; what is of no known type cannot be made.
[[nodiscard]] bool isCarried(FileType type);

enum class Content : std::uint8_t {
  kSame,
  kOther,    // must be copied, or is of another type
  kUnknown,  // status alone does not tell: to be compared
};
// `unfinishedSince`: a clone that never ended wrote from then on, by the target's clock; what it wrote may lack its
// bytes. Equal status means equal content for files and special files; of links the texts are compared. Folders are the
// same whatever is in them.
[[nodiscard]] Content judgeContent(const FileStatus& source, const FileStatus& target,
                                   const std::optional<FileTime>& unfinishedSince);

// Whether the target's entry has other names than the source's, which would change with it.
[[nodiscard]] bool sharesWithOthers(const FileStatus& source, const FileStatus& target);

struct MetadataDifference {
  bool owner = false;
  bool mode = false;
  bool date = false;
  bool protection = false;
  [[nodiscard]] bool any() const { return owner || mode || date || protection; }
};
[[nodiscard]] MetadataDifference compareMetadata(const FileStatus& source, const FileStatus& target);

// Whether a file changed between two looks, so that its copy may hold something of both.
[[nodiscard]] bool hasChanged(const FileStatus& before, const FileStatus& after);
// The date for such a copy: one that the file does not have, so that the next clone copies it again.
[[nodiscard]] FileTime dateOfTornCopy(const FileStatus& before, const FileStatus& after);

// Whether the entry begins another file system than that of `device`, on which the clone stays.
[[nodiscard]] bool isOtherFileSystem(const FileStatus& status, std::uint64_t device);

// At most `limit` bytes of it, no character cut.
[[nodiscard]] std::string fittingLabel(const std::string& label, std::size_t limit);

}  // namespace lumisk
