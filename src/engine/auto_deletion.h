#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/deletion_rule.h"
#include "engine/entry_finder.h"
#include "engine/file_list.h"
#include "engine/run_state.h"
#include "platform/trash.h"

namespace lumisk {

// What a pass over the previous run's file list would delete.
struct DeletionPlan {
  std::uint64_t pairs = 0;      // read from the list
  std::uint64_t deletions = 0;  // destinations that stand although their sources are proven to have gone
  std::uint64_t unproven = 0;   // sources that could not be looked at
};

// An open folder and its complete listing.
struct ListedFolder {
  int folder = -1;
  const std::string& path;
  const NameList& names;
};

// Lets a backup follow deletions in its sources. Only what is proven to be absent below a sound source is deleted, only
// in this job's own targets, and to the Trash when the job says so. What cannot be proven is an error, logged and
// counted, and stays. One object per run; used from the run's thread. In a dry run it tells and deletes nothing.
class AutoDeletion {
 public:
  // Opens the roots and targets: what is at their places later on, when a volume was pulled away, is not looked at.
  AutoDeletion(RunState& run, Trash& trash, DeletionScope scope, std::string listFolder = fileListFolder());

  // The pass over the previous run's list, at the start of a run: plans, asks, carries out. When it may not proceed
  // the deletions count as held; the caller keeps the list then. Without a list it does nothing.
  void autoDeleteion(const std::function<bool(const DeletionPlan&)>& mayProceed);
  // Counts only. An error: there is no list, or none that can be read.
  Result<DeletionPlan> plan();
  // Reads the list again, proves each absence again, deletes; never more than the plan counted (the rest is held).
  void carryOut(const DeletionPlan& plan);

  // An entry at a destination that is to go; the folder of its place is open.
  struct Doomed {
    Place place;
    FileStatus standing;
  };
  // Tells what a destination folder has and its source folder does not, in the order of the names; deletes nothing.
  void syncDirectory(const ListedFolder& source, const ListedFolder& destination,
                     const std::function<void(const Doomed&)>& tell);

  // From now on an absence below this place of the sources proves nothing.
  void disbelieve(const std::string& source) { scope_.unbelieved.push_back(source); }

 private:
  struct Passed {
    std::uint64_t records = 0;
    std::uint64_t deleted = 0;
  };
  void lookAgainAfterPause();
  Result<std::optional<Doomed>> judge(const FileList::Pair& pair);
  Result<bool> isGone(std::size_t root, const std::vector<std::string>& components);
  Result<std::optional<Doomed>> findDestination(const std::string& path);
  Passed deleteListed(FileList& list, const DeletionPlan& plan);
  bool remove(const Doomed& doomed);
  // The names of a source folder by what a folding file system may take for the same.
  using SpellingIndex = std::unordered_multimap<std::string, std::string_view>;
  static SpellingIndex indexSpellings(const NameList& names);
  Result<std::optional<Doomed>> judgeEntry(const ListedFolder& source, const ListedFolder& destination,
                                           const std::string& name, const SpellingIndex& spellings);
  Result<bool> isCarriedUnderOtherSpelling(int folder, const std::string& name, const FileStatus& standing,
                                           const SpellingIndex& spellings);
  void complainAboutList(const Error& error);
  void complain(const std::string& path, const Error& error);

  RunState& run_;
  Trash& trash_;
  DeletionScope scope_;
  std::string listFolder_;
  std::vector<Result<Descriptor>> roots_;    // the sources of scope_.roots
  std::vector<Result<Descriptor>> targets_;  // of scope_.targets
  std::optional<EntryFinder> source_;        // of the root that was looked into last
  std::size_t sourceRoot_ = 0;
  std::optional<EntryFinder> destination_;
  std::string lastComplaint_;  // its folder: one line is enough for all that lies below
};

}  // namespace lumisk
