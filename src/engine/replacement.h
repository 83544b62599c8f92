#pragma once

#include <optional>

#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "engine/temporary_entry.h"
#include "platform/trash.h"

namespace lumisk {

// Gives a finished temporary sibling its final name, in the same folder, and keeps what stands there before, as the job
// wants it kept. Something of another type is always kept. Until the new entry has the name the old one has it: where
// the old one can have a second name by a link, or both can be exchanged; only file systems that know neither leave a
// moment in which nothing has the name, and the earlier version is in the revision folder or the Trash by then.
//
// A program may save a file there by a rename of its own at any moment. Where names can be exchanged, what the exchange
// brings out is looked at before it goes, and put back when it is not what the run has seen; where they cannot, what is
// saved in the moment between the last look and the rename is lost.
class Replacement {
 public:
  Replacement(RunState& run, VersionKeeper& revisions, Trash& trash)
      : run_(run), revisions_(revisions), trash_(trash) {}

  // Whether a revision was kept. Without `standing` nothing is ever replaced (EEXIST); with it, ESTALE when it was
  // changed since. When it fails the destination is as it was, or absent and kept where the file system knows no
  // better; what the temporary name stands for then is the caller's to remove.
  Result<bool> putInPlace(TemporaryEntry& temporary, const Place& destination,
                          const std::optional<FileStatus>& standing);

 private:
  Result<void> checkStanding(const Place& destination, const FileStatus& standing);
  Result<void> putOver(TemporaryEntry& temporary, const Place& destination, const FileStatus& standing);
  Result<void> renameOver(TemporaryEntry& temporary, const Place& destination);
  Result<void> putOverTrashed(TemporaryEntry& temporary, const Place& destination, const FileStatus& standing);
  Result<void> exchange(TemporaryEntry& temporary, const Place& destination, const FileStatus& standing);
  Result<void> trashExchanged(TemporaryEntry& temporary, const Place& destination);
  void undoExchange(TemporaryEntry& temporary, const Place& destination);
  Result<void> rename(TemporaryEntry& temporary, const Place& destination, Replace replace);

  RunState& run_;
  VersionKeeper& revisions_;
  Trash& trash_;
  FileIdentity ours_;  // of the new entry that was exchanged last
};

}  // namespace lumisk
