#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "engine/auto_deletion.h"
#include "engine/file_list.h"
#include "engine/pending_deletions.h"
#include "engine/two_way_run.h"
#include "engine/walk_rules.h"

namespace lumisk {

// The deletions that a backup carries into one of its targets. During the walk they are only collected: what a folder
// of the target has and its source folder has not. After all copies, and when the brake lets them pass, each absence is
// proven once more and the entry goes. Used from the run's thread.
class TargetDeletions : public NoWalkRules {
 public:
  TargetDeletions(RunState& run, Trash& trash, DeletionScope scope)
      : run_(run), trash_(trash), scope_(std::move(scope)), deletion_(run, trash, scope_) {}
  TargetDeletions(const TargetDeletions&) = delete;
  TargetDeletions& operator=(const TargetDeletions&) = delete;

  void enterFolder(FrameStack& at) override;

  enum class Settled { kCarriedOut, kHeld };
  Settled settle(const DeletionBrake& brake);
  // What the previous run copied and the walk had no occasion to see; after settle().
  void settleListed(const DeletionBrake& brake);
  // A source that was checked and carried here: its absences are believed.
  void noteSound(const std::string& source) { sound_.insert(source); }

 private:
  // A walked pair of folders.
  struct Root {
    Descriptor source;
    Descriptor destination;
    std::string sourcePath;
    std::string destinationPath;
    PendingDeletions pending{"not in the source"};
    std::map<std::string, std::string>
        sourceFolders;  // below the roots: where the absence shows, by destination folder
  };
  Result<void> beginRoot(FrameStack& at);
  void collect(const FrameStack& at, const AutoDeletion::Doomed& doomed);
  Result<void> confirm(const Root& root, const std::string& relative, std::vector<PendingDeletion>& due);
  [[nodiscard]] bool mustHold(const DeletionBrake& brake, std::uint64_t further) const;

  RunState& run_;
  Trash& trash_;
  DeletionScope scope_;
  AutoDeletion deletion_;
  std::vector<std::unique_ptr<Root>> roots_;
  Root* root_ = nullptr;  // of the walk that is under way
  std::set<std::string> sound_;
  std::uint64_t due_ = 0;
  std::uint64_t held_ = 0;  // entries that the target held, so far as it was walked
};

// What a backup that follows deletions keeps from one run to the next, and what it does at the end of a run. A run that
// was cancelled or whose deletions were held leaves the previous list of files in its place.
class BackupDeletions {
 public:
  enum class List { kKept, kNone };  // runs of no stored job have no list: another's would have the same name
  BackupDeletions(RunState& run, DeletionBrake brake, DeletionScope scope, List list);

  RunRecorder& recorder() { return *recorder_; }
  WalkRules& rulesFor(Trash& trash, const std::string& target);
  // A source that has been checked and is about to be walked.
  void carry(const std::string& target, const CarriedRoot& root);
  // After the walk.
  void settle();

 private:
  void openList();
  void closeList();

  RunState& run_;
  DeletionBrake brake_;
  DeletionScope scope_;
  List usesList_;
  FileList list_;
  std::unique_ptr<RunRecorder> recorder_;
  std::map<std::string, TargetDeletions> targets_;
};

}  // namespace lumisk
