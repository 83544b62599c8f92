#pragma once

#include <optional>
#include <string>

#include "engine/data_copy.h"
#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "engine/temporary_entry.h"
#include "platform/catalog_info.h"

namespace lumisk {

// Carries the data and metadata of one file into a temporary sibling of its destination. Decides nothing and tells
// nobody: what the target could not hold comes back as a value. An object is used by one thread at a time.
class FileTransport {
 public:
  FileTransport(RunState& run, DataCopy::Progress progress) : files_(run.files), data_(run, progress) {}

  struct Filled {
    Descriptor file;                // open for whoever has to sync it; to be closed before it gets its name
    FileIdentity made;              // see FileCopier::Copied
    std::uint64_t bytes = 0;        // of data written
    bool changedMeanwhile = false;  // see FileCopier::Copied
    CatalogLoss loss;
  };
  // `seen` is the source as the walk listed it; another file under its name by now is the error ESTALE.
  Result<Filled> fill(const Place& source, const FileStatus& seen, const Place& destination, TemporaryEntry& temporary);

 private:
  struct Source {
    Descriptor file;
    CatalogInfo info;
  };
  // What decides on the owner and group of a new file besides who makes it; of folders that the run has made.
  struct FolderKind {
    std::uint64_t device;
    std::uint32_t group;
    bool givesGroup;
    bool operator==(const FolderKind&) const = default;
  };
  static std::optional<FolderKind> kindOf(const Place& destination);
  Result<Source> openSource(const Place& source, const FileStatus& seen);
  Result<void> fill(Source& source, const Place& sourcePlace, const Place& destination, Filled& filled);
  void enterFolder(const Place& destination);
  Result<CatalogLoss> dress(const CatalogInfo& info, Filled& filled);
  Result<void> lookAtMade(const CatalogInfo& info, Filled& filled);

  FileCalls& files_;
  DataCopy data_;
  // What is known of new files in the folder that came last.
  std::string lastFolder_;
  std::optional<FolderKind> lastKind_;
  bool startBare_ = false;            // they have no attributes that they were not given
  std::optional<FileStatus> asMade_;  // as one was that was made with the permissions madeWith_
  std::uint32_t madeWith_ = 0;
};

}  // namespace lumisk
