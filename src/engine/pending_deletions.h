#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/entry_removal.h"
#include "engine/run_state.h"
#include "platform/trash.h"

namespace lumisk {

// A deletion that a run has found out to be due.
struct PendingDeletion {
  std::string folder;  // below the root of its side; "" the root itself
  std::string name;
  FileStatus standing;        // as it was when that was found
  std::uint64_t entries = 1;  // with all that it holds
  MayRemove mayRemove = {};   // what of it may go for good; empty: all
};

// The deletions that a run has found on one side and carries out at its end: after all copies, and only when the brake
// lets them pass. What cannot be proven once more by then stays. Belongs to the run's thread.
class PendingDeletions {
 public:
  // reason: a short phrase, for those who list what is deleted.
  PendingDeletions(const char* reason = "deleted on the other side") : reason_(reason) {}
  void add(PendingDeletion deletion);
  [[nodiscard]] std::uint64_t entries() const { return entries_; }
  [[nodiscard]] bool isEmpty() const { return deletions_.empty(); }

  // Forgets those whose entry does not stand any more, or is another one by now.
  void dropVanished(FileCalls& files, int root);

  // Asked for each folder before anything in it is removed, with the open folder and what is due there; takes out what
  // must not go, and has brought to the disk what must be known there first. An error keeps all of that folder.
  using Confirm =
      std::function<Result<void>(int folder, const std::string& relative, std::vector<PendingDeletion>& due)>;

  // Removes them below the open root (`rootPath` for the log), to the Trash or for good as the job says. Folders keep
  // their dates. Logs, counts and reports each. An error of one is counted and the others go on.
  void carryOut(RunState& run, Trash& trash, int root, const std::string& rootPath, const Confirm& confirm);

  // Reports them as what a run would delete; removes nothing.
  void tell(RunState& run, const std::string& rootPath);
  // Reports them as held back, with a line in the log; removes nothing.
  void hold(RunState& run, const std::string& rootPath);

 private:
  void carryOutFolder(RunState& run, Trash& trash, int root, const std::string& rootPath,
                      std::vector<PendingDeletion> due, const Confirm& confirm);

  const char* reason_;
  std::vector<PendingDeletion> deletions_;
  std::uint64_t entries_ = 0;
};

}  // namespace lumisk
