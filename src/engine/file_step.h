#pragma once

#include <string>

#include "engine/walk_state.h"

namespace lumisk {

// One step of a walk: an entry that is not a folder, in the pair of folders that the walk is in. Decides and has it
// carried out; errors are logged and counted.
class FileStep {
 public:
  explicit FileStep(WalkState& walk) : walk_(walk), run_(walk.run) {
    walk_.copies.onDone = [this](LaggingCopy& copy, Result<FileCopier::Copied> copied) { copiedAside(copy, copied); };
  }
  FileStep(const FileStep&) = delete;
  FileStep& operator=(const FileStep&) = delete;

  // entry.name and entry.source are known.
  void handle(WalkEntry& entry);

 private:
  void handleFile(WalkEntry& entry);
  [[nodiscard]] bool passesFilter(const WalkEntry& entry);
  enum class Progress { kDone, kLags };
  Result<Progress> carryFile(WalkEntry& entry);
  Result<Progress> settleFile(const WalkEntry& entry);
  Result<Progress> settleAgain(WalkEntry& entry, Result<Progress> settled);
  Result<Progress> copyFile(const WalkEntry& entry, const CopyDecision& decision);
  void copiedAside(LaggingCopy& copy, const Result<FileCopier::Copied>& copied);
  void conclude(const WalkEntry& entry, const Result<Progress>& carried, bool isRecorded);
  CopyDecision decide(const WalkEntry& entry);
  Result<FileCopier::Copied> linkOrCopy(const WalkEntry& entry);
  Result<FileCopier::Copied> linkTo(const HardLinkMap::Copy& first, const WalkEntry& entry);
  void noteCopied(const WalkEntry& entry, const FileCopier::Copied& copied);
  void noteName(const WalkEntry& entry, const FileIdentity& made);
  void reportFailure(const WalkEntry& entry, const Error& error);

  void handleLink(WalkEntry& entry);
  void settleLink(const WalkEntry& entry);
  [[nodiscard]] bool isSameLink(const WalkEntry& entry);
  void makeLink(const WalkEntry& entry, const CopyDecision& decision);

  WalkState& walk_;
  RunState& run_;
};

}  // namespace lumisk
