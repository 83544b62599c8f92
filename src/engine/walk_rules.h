#pragma once

#include <optional>
#include <string>

#include "engine/copy_rule.h"
#include "engine/frame_stack.h"
#include "engine/run_state.h"

namespace lumisk {

// An entry of the source and what stands for it at the destination.
struct WalkEntry {
  std::string name;
  std::string destinationName;  // the destination may spell it in another way
  FileStatus source;
  std::optional<FileStatus> standing;  // proven absent when empty
  bool isKnownSame = false;            // `standing` was read ahead and is the same as the source
};

enum class WalkVerdict {
  kGoOn,       // as a backup does
  kSettled,    // the rules have dealt with it
  kLookAgain,  // of a folder: the rules have put one there under its name
};

// What a job does beyond copying what is new or newer: the places where deletions and the second direction of two-way
// jobs come in. Called on the run's thread, in the order of the walk, with the pair of folders that the walk is in.
// Errors are the rules' own to log and count. In runs that only look, they change nothing either.
class WalkRules {
 public:
  virtual ~WalkRules() = default;
  // A pair was opened and listed (or, at the destination, made); none of its entries has been looked at.
  virtual void enterFolder(FrameStack& at) = 0;
  // A sub-folder of the source of which it is known that nothing is to be done in it: it is not opened.
  virtual bool passesBy(const FrameStack&, const std::string&) { return false; }
  // A sub-folder of the source, open and listed; `standing` is the open folder of its name there, if there is one, or
  // what stands in its way.
  virtual WalkVerdict folderFound(FrameStack& at, const WalkEntry& entry) = 0;
  // A file or link of the source that the destination lacks.
  virtual WalkVerdict missingAtDestination(FrameStack& at, const WalkEntry& entry) = 0;
  // A file that stands on both sides, or a link that differs there; the decision to go by, or nothing when settled.
  virtual std::optional<CopyDecision> presentAtBoth(FrameStack& at, const WalkEntry& entry, CopyDecision decision) = 0;
  // A file or link is now the same on both sides; it was copied or found so.
  virtual void isInStep(FrameStack& at, const WalkEntry& entry) = 0;
  // Whether isInStep() need not be told, nor leaveFolder() wait for all copies: then small files may still be under way
  // when the walk is in another folder.
  [[nodiscard]] virtual bool letsCopiesLag() const { return false; }
  // Whether the rules themselves write into the pairs of folders, lists for one.
  [[nodiscard]] virtual bool writesIntoFolders() const { return true; }
  // All entries were dealt with, the run stops, or the pair was lost (frame.isLost: it is not open). Before the
  // destination folder gets its own dates and permissions.
  virtual void leaveFolder(FrameStack& at) = 0;
};

// A backup that deletes nothing.
class NoWalkRules : public WalkRules {
 public:
  void enterFolder(FrameStack&) override {}
  WalkVerdict folderFound(FrameStack&, const WalkEntry&) override { return WalkVerdict::kGoOn; }
  WalkVerdict missingAtDestination(FrameStack&, const WalkEntry&) override { return WalkVerdict::kGoOn; }
  std::optional<CopyDecision> presentAtBoth(FrameStack&, const WalkEntry&, CopyDecision decision) override {
    return decision;
  }
  void isInStep(FrameStack&, const WalkEntry&) override {}
  [[nodiscard]] bool letsCopiesLag() const override { return true; }
  [[nodiscard]] bool writesIntoFolders() const override { return false; }
  void leaveFolder(FrameStack&) override {}
};

}  // namespace lumisk
