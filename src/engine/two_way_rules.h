#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "engine/file_copier.h"
#include "engine/loser_keeper.h"
#include "engine/pending_deletions.h"
#include "engine/settled_folders.h"
#include "engine/synced_entries.h"
#include "engine/time_granularity.h"
#include "engine/two_way_rule.h"
#include "engine/walk_rules.h"

namespace lumisk {

// How conflicts are settled: the job's own choice, until the user answers for all of them. Lives as long as the worker.
struct ConflictMemory {
  bool applayConflictForAll = false;
  ConflictChoice conflictType = ConflictChoice::kNewerWins;
};

// One of the two folders of a two-way pair, in one run.
struct TwoWaySide {
  std::string path;            // as the job spells it
  PendingDeletions deletions;  // due on this side
  std::uint64_t entries = 0;   // that this side holds, as far as the walk has seen them
  // The devices of mounts below the root, by path, as the walk has found them on this side.
  std::map<std::string, std::uint64_t> mounts = {};
};

// What a two-way job does in its walks, in one direction at a time: keeps the synced-entries lists and folder flags of
// both sides, finds deletions and renamed folders, settles conflicts. Deletions are only collected; whoever runs the
// walks carries them out. One object per pair and pass; used from the run's thread.
//
// The roots and the folder around a single file are not listed.
class TwoWayRules : public WalkRules {
 public:
  enum class Direction { kForward, kReverse };
  TwoWayRules(RunState& run, FileCopier& copier, Trash& trash, LoserKeeper& losers, ConflictMemory& conflicts,
              SettledFolders& settled, Direction direction, TwoWaySide& from, TwoWaySide& to)
      : run_(run),
        copier_(copier),
        trash_(trash),
        losers_(losers),
        conflicts_(conflicts),
        settled_(settled),
        direction_(direction),
        from_(from),
        to_(to) {}

  void enterFolder(FrameStack& at) override;
  bool passesBy(const FrameStack& at, const std::string& name) override;
  WalkVerdict folderFound(FrameStack& at, const WalkEntry& entry) override;
  WalkVerdict missingAtDestination(FrameStack& at, const WalkEntry& entry) override;
  std::optional<CopyDecision> presentAtBoth(FrameStack& at, const WalkEntry& entry, CopyDecision decision) override;
  void isInStep(FrameStack& at, const WalkEntry& entry) override;
  void leaveFolder(FrameStack& at) override;

 private:
  // The pair of folders that the walk is in, as far as it concerns the lists.
  struct Level {
    Level(FileCalls& files, const std::string& fromPath, const std::string& toPath)
        : from(files, fromPath), to(files, toPath) {}
    SyncedEntries from;
    SyncedEntries to;
    // Where the two were before a folder above them was renamed.
    std::optional<std::string> fromOldPath;
    std::optional<std::string> toOldPath;
    bool isKept = true;     // false: around a single file
    bool isUnread = false;  // one of the lists could not be read
    // Of the entries, those that are the same on both sides with all that they hold.
    std::size_t inStep = 0;
    std::size_t lastInStep = 0;  // where the last of them stands in the listing
    std::vector<std::string> settledFolders;
  };
  struct Renamed {
    std::string fromOldPath;
    std::string toOldPath;
  };

  static void noteInStep(const FrameStack& at, Level& level);
  void noteSettled(const FrameStack& at, Level& level);
  void readLists(FrameStack& at, Level& level);
  void followRename(FrameStack& at, Level& level);
  void noteUnread(Level& level, const std::string& path, const Error& error);
  bool flagFolders(FrameStack& at, Level& level, bool isNew);
  bool flag(int folder, const std::string& path);
  Result<void> writeList(SyncedEntries& list, int folder, SyncedEntries::Durability durability);
  void writeListAtEnd(SyncedEntries& list, int folder, const std::string& path);
  bool unlistBeforeReplacing(FrameStack& at, const WalkEntry& entry, const FileStatus& winner);
  void complain(const char* what, const std::string& path, const Error& error);

  [[nodiscard]] bool isDeletionDue(const FrameStack& at, const WalkEntry& entry) const;
  void noteMount(FrameStack& at, const WalkEntry& entry);
  [[nodiscard]] bool isGoneMount(const FrameStack& at, const WalkEntry& entry) const;
  WalkVerdict addDeletion(FrameStack& at, const WalkEntry& entry, std::uint64_t entries);
  [[nodiscard]] std::string relativeFolder(const FrameStack& at) const;
  std::optional<std::string> oldNameOf(FrameStack& at, const WalkEntry& entry);
  bool takeRename(FrameStack& at, const WalkEntry& entry);

  [[nodiscard]] bool isLeftToTheNextRun(const FrameStack& at, const WalkEntry& entry) const;
  [[nodiscard]] PresentQuestion questionOf(const WalkEntry& entry) const;
  std::chrono::nanoseconds granularityOf(const FrameStack& at, const WalkEntry& entry);
  ConflictChoice choose(const FrameStack& at, const WalkEntry& entry);
  std::optional<CopyDecision> leave(const FrameStack& at, const WalkEntry& entry) const;
  void carryBack(FrameStack& at, const WalkEntry& entry);
  Result<void> carryBackNow(FrameStack& at, const WalkEntry& entry);
  bool keepBoth(FrameStack& at, const WalkEntry& entry);
  void keepBothBack(FrameStack& at, const WalkEntry& entry);
  Result<void> keepBothBackNow(FrameStack& at, const WalkEntry& entry);
  void failed(const FrameStack& at, const WalkEntry& entry, const Error& error);
  void outcome(const FrameStack& at, const WalkEntry& entry, EntryOutcome outcome, const char* reason) const;

  RunState& run_;
  FileCopier& copier_;
  Trash& trash_;
  LoserKeeper& losers_;
  ConflictMemory& conflicts_;
  SettledFolders& settled_;  // found by the walk there, used by the walk back
  Direction direction_;
  TwoWaySide& from_;
  TwoWaySide& to_;
  TimeGranularities granularities_{run_.files};
  std::deque<Level> levels_;
  std::optional<Renamed> renamed_;  // the folder that is entered next
};

}  // namespace lumisk
