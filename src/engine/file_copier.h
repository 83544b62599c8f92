#pragma once

#include <optional>
#include <string>

#include "engine/error_place.h"
#include "engine/file_transport.h"
#include "engine/replacement.h"
#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "platform/catalog_info.h"
#include "platform/trash.h"

namespace lumisk {

// Carries single files, links and folder metadata from one place to another.
//
// The earlier version survives every failure: a copy is written to a temporary sibling, takes its metadata, and
// replaces the destination in one rename; where the earlier version goes to a revision or the Trash it has its second
// name there before. What a failure, a stop or a full disk deletes is the temporary sibling only. Something of another
// type that stands at the destination is kept the same way, never unlinked outright.
//
// What is done is noted in run.written, losses of metadata in run.counts.losses and, once, in the log; a lack of space
// has been reported to the run. Counting all else, and errors, is the caller's. One object per run and target; used
// from the run's thread.
class FileCopier {
 public:
  FileCopier(RunState& run, VersionKeeper& revisions, Trash& trash)
      : run_(run), transport_(run, DataCopy::Progress::kTold), replacement_(run, revisions, trash) {}

  struct Copied {
    FileIdentity made;         // the new file; where the source has a single name its device alone
    std::uint64_t bytes = 0;   // of data written
    bool keptVersion = false;  // as a revision; the same for a link or folder goes into counts.revisions at once
    // The source changed while it was read, in a way that its date might not show: what was made carries an older date
    // so that the next run copies it again.
    bool changedMeanwhile = false;
  };
  // `seen` is the source as the walk listed it; another file under its name by now is the error ESTALE. `standing` is
  // what has the destination's name; empty: proven absent, and then nothing is ever replaced (EEXIST). A stop gives
  // ECANCELED. After the first lack of space of a run, what cannot fit is not begun.
  Result<Copied> copyMacintoshFile(const Place& source, const FileStatus& seen, const Place& destination,
                                   const std::optional<FileStatus>& standing);

  // A file that another thread carries to a name that is proven absent: whether it may be, what comes before it, and
  // what follows when it is done. Errors are as above.
  [[nodiscard]] bool mayCarryAside(const FileStatus& seen) const;
  void beforeCarryingAside(const FileStatus& folder, const Place& destination);
  static Result<FileTransport::Filled> carryAside(FileTransport& transport, FileCalls& files, const Place& source,
                                                  const FileStatus& seen, const Place& destination);  // any thread
  Result<Copied> carriedAside(const Place& destination, Result<FileTransport::Filled> filled);

  // A further name for a file that this run has carried already (hard links stay hard links). Fails with EMLINK, EPERM,
  // EXDEV or EOPNOTSUPP where the target cannot; the caller copies then.
  Result<Copied> linkMacintoshFile(const Place& existing, const FileIdentity& expected, const Place& destination,
                                   const std::optional<FileStatus>& standing);

  enum class LinkOutcome { kFailed = -1, kNotALink = 0, kMade = 1, kSame = 2 };
  // Recreates a symbolic link with its text, owner and date; logs. An identical link is left alone. Anything else that
  // stands there is kept first as an overwritten file is.
  LinkOutcome copyMacintoshFileLink(const Place& source, const FileStatus& seen, const Place& destination,
                                    const std::optional<FileStatus>& standing);

  // Gives an open folder the metadata of another as they were read. False when they could not be set; losses are
  // logged. `before`: what that one has, where it is known.
  bool copyMacintoshFinderInfo(const CatalogInfo& info, int destination, const std::string& destinationPath,
                               const CatalogInfo* before = nullptr);

  struct MadeFolder {
    Descriptor folder;
    FileStatus status;
  };
  // Makes a folder that is to become `wanted`, and opens it. Until it gets its own permissions it has 0700, or its own
  // at once: modeToMakeWith(). A file or link that stands there is kept first.
  Result<MadeFolder> createMacintoshDirectory(const Place& destination, const std::optional<FileStatus>& standing,
                                              const CatalogInfo& wanted = {},
                                              const std::optional<FileStatus>& like = {});

 private:
  Result<void> checkSpace(const FileStatus& seen, const Place& destination);
  Result<Copied> copyFile(const Place& source, const FileStatus& seen, const Place& destination,
                          const std::optional<FileStatus>& standing);
  Copied noteFilled(const FileTransport::Filled& filled, const Place& destination);
  Result<Copied> linkFile(const Place& existing, const FileIdentity& expected, const Place& destination,
                          const std::optional<FileStatus>& standing);
  Result<void> makeLink(const std::string& text, const FileStatus& seen, const Place& destination,
                        const std::optional<FileStatus>& standing);
  Result<MadeFolder> makeDirectory(const Place& destination, const CatalogInfo& wanted,
                                   const std::optional<FileStatus>& like);
  Result<MadeFolder> makeDirectoryInstead(const Place& destination, const FileStatus& standing);
  Result<MadeFolder> openMade(const Place& destination, const std::string& name);
  bool isSameLink(const std::string& text, const Place& destination, const std::optional<FileStatus>& standing);
  template <class T>
  Result<T> reported(const Place& destination, Result<T> result);
  void dressLink(const TemporaryEntry& link, const FileStatus& made, const FileStatus& seen, const Place& destination);
  void noteLoss(const CatalogLoss& loss, std::uint64_t device, const std::string& path);
  void logLossOnce(std::uint64_t device, const std::string& kind, const std::string& what, const std::string& path);

  RunState& run_;
  FileTransport transport_;
  Replacement replacement_;
};

// Tells the run of a lack of space, whatever met it, and gives the error its full path.
template <class T>
Result<T> FileCopier::reported(const Place& destination, Result<T> result) {
  if (!result && isOutOfSpace(result.error())) run_.noteOutOfSpace();
  return about(destination.path, std::move(result));
}

}  // namespace lumisk
