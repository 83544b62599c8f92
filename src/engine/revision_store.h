#pragma once

#include <string>

#include "engine/file_copier.h"
#include "engine/full_path.h"
#include "engine/revision_folders.h"
#include "engine/revision_numbering.h"
#include "engine/run_seams.h"
#include "engine/run_state.h"

namespace lumisk {

// Keeps the earlier versions of overwritten files as numbered revisions, number 1 the oldest. One object per run; used
// from the run's thread.
//
// With the limited method the new revision is in its place, one beyond the limit, before the oldest is removed and the
// others move down: a crash or failure at any step loses nothing but what the limit removes, and the next revision of
// the file puts the numbers right. A limit that was lowered is reached step by step, two revisions less for each one
// made.
class RevisionStore : public VersionKeeper {
 public:
  // names: how a path outside the first target is spelled below the revision folder.
  RevisionStore(RunState& run, Trash& trash, PlaceNames names);

  // As revision(); jobs that settle conflicts keep none.
  Result<Kept> keep(const Place& destination, const FileStatus& standing) override;

  // Gives what stands at the destination a further name as its newest revision; moves it there where there can be no
  // second name (folders, file systems without hard links); copies it to another file system. A folder or special file
  // that would have to be copied goes to the Trash instead. A version that is its file's newest revision already is
  // not kept twice.
  Result<Kept> revision(const Place& destination, const FileStatus& standing);

 private:
  [[nodiscard]] int limit() const;
  Result<Kept> keepAsNewest(const Place& destination, const FileStatus& standing, ListedNames& names);
  Result<Kept> put(const Place& destination, const FileStatus& standing, const std::string& name);
  Result<Kept> move(const Place& destination, const FileStatus& standing, const std::string& name);
  Result<Kept> copyAcross(const Place& destination, const FileStatus& standing, const std::string& name);
  Result<bool> isNewest(const Place& destination, const std::string& newestName);
  Result<void> closeInterruption(const std::string& fileName, ListedNames& names);
  Result<void> moveDown(const std::string& fileName, int gap, ListedNames& names);
  Result<void> dropOldest(const std::string& fileName, ListedNames& names);
  void keepToLimit(const std::string& fileName, ListedNames& names);

  RunState& run_;
  Trash& trash_;
  PlaceNames names_;
  RevisionFolders folders_;
  NoRevisions none_;
  FileCopier copier_;
};

}  // namespace lumisk
