#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/catalog_info.h"
#include "platform/file_calls.h"
#include "platform/temporary_name.h"

namespace lumisk {

// The copy rule: pure functions, values in, verdict out.

enum class CopyVerdict {
  kCopy,       // nothing stands at the destination
  kReplace,    // the source is newer, or something of another type stands there
  kUnchanged,  // leave it
};

struct CopyDecision {
  CopyVerdict verdict = CopyVerdict::kUnchanged;
  const char* reason =
      "";  // a short phrase for dry runs: "new", "newer", "other size", "unchanged", "not a file there", "in doubt"
};

struct CopyQuestion {
  FileStatus source;
  std::optional<FileStatus> destination;    // proven absent when empty
  std::chrono::nanoseconds granularity{1};  // the coarser of the two file systems' time stamps
  bool compareSizes = false;                // the last run did not complete
  std::optional<FileTime> doubtedSince{};   // what was changed there since may not be on the disk
};

// For backup jobs, and the part that two-way jobs share. A difference of exactly one second counts as none.
[[nodiscard]] CopyDecision decideCopy(const CopyQuestion& question);

// Strictly later.
[[nodiscard]] bool checkModificationDate(const FileStatus& source, const FileStatus& destination);

// The date for the copy of a file that changed from `before` to `after` while it was read, such that the next run is
// sure to copy it again, however coarse the time stamps are. Empty when it did not change, or when its new date is so
// much later that `before`'s own date does.
[[nodiscard]] std::optional<FileTime> dateOfChangedCopy(const FileStatus& before, const FileStatus& after);

// The permissions to make an entry with that is to become `wanted`: its own where nobody gets more by them than in the
// end, because the owner and group are right from the beginning and no ACL gives the bits another meaning; else
// `unfinished`, which are nobody else's. `like`: an entry that was made in the same place and inherited nothing.
[[nodiscard]] std::uint32_t modeToMakeWith(const CatalogInfo& wanted, const std::optional<FileStatus>& like,
                                           std::uint32_t unfinished);

// Names that are never copied (our own files, and folders' view settings of desktop systems).
[[nodiscard]] bool isSkippedName(const std::string& name);

}  // namespace lumisk
