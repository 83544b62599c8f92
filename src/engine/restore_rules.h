#pragma once

#include "engine/walk_rules.h"

namespace lumisk {

enum class Sameness {
  kContent,  // the bytes
  kAll,      // and owner, permissions, date, attributes
};

// Whether a version and what stands at the destination, both files, are the same. Reads both to the end where their
// sizes are equal: equal dates prove nothing about a damaged file. What cannot be read is not the same.
[[nodiscard]] bool isSameFile(const RunState& run, const Place& version, const Place& standing, Sameness sameness);

// Of a restored folder: whatever differs is replaced, whichever is newer; what the destination alone has stays.
class RestoreRules : public NoWalkRules {
 public:
  // target: the job's folder, in which the revisions are no part of a version.
  RestoreRules(const RunState& run, std::string target, Sameness sameness)
      : run_(run), target_(std::move(target)), sameness_(sameness) {}

  WalkVerdict folderFound(FrameStack& at, const WalkEntry& entry) override;
  WalkVerdict missingAtDestination(FrameStack& at, const WalkEntry& entry) override;
  std::optional<CopyDecision> presentAtBoth(FrameStack& at, const WalkEntry& entry, CopyDecision decision) override;

 private:
  const RunState& run_;
  const std::string target_;
  const Sameness sameness_;
};

}  // namespace lumisk
