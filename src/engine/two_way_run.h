#pragma once

#include <string>

#include "engine/file_copier.h"
#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "engine/settled_folders.h"
#include "engine/two_way_rules.h"

namespace lumisk {

// How many deletions one run lets pass.
struct DeletionBrake {
  int percent = kDefaultBrakePercent;  // "SGDeletionBrakePercent"
  bool isReleased = false;             // the user said that this run's deletions are meant
};

// One pair of folders of a two-way job: the walk there, the walk back, then the deletions that both have found. Used
// from the run's thread, one object per run and target.
class TwoWayRun {
 public:
  TwoWayRun(RunState& run, VersionKeeper& versions, Trash& trash, RunRecorder& recorder, ConflictMemory& conflicts,
            DeletionBrake brake)
      : run_(run),
        trash_(trash),
        recorder_(recorder),
        conflicts_(conflicts),
        brake_(brake),
        losers_(versions, trash),
        copier_(run, losers_, trash) {}

  // False when one of the walks could not be done at all; then nothing is deleted.
  bool carry(const std::string& source, const std::string& opposite, int layer, int mode);

 private:
  using Direction = TwoWayRules::Direction;
  bool pass(Direction direction, TwoWaySide& from, TwoWaySide& to, int layer, int mode);
  bool passBack(TwoWaySide& from, TwoWaySide& to, int layer, int mode);
  void settleDeletions(TwoWaySide& side, const TwoWaySide& other);
  Result<void> confirm(int folder, const std::string& path, int otherFolder, const std::string& otherPath,
                       std::vector<PendingDeletion>& due);
  bool prove(PendingDeletion& deletion, int folder, const std::string& path, int otherFolder,
             const SyncedEntries& listed, const SyncedEntries& listedThere);

  RunState& run_;
  Trash& trash_;
  RunRecorder& recorder_;
  ConflictMemory& conflicts_;
  DeletionBrake brake_;
  SettledFolders settled_;  // of the pair that is carried
  LoserKeeper losers_;
  FileCopier copier_;
};

}  // namespace lumisk
