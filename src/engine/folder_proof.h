#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/run_state.h"
#include "engine/two_way_rule.h"
#include "engine/walk_borders.h"

namespace lumisk {

// The other half of the proof for a folder whose counterpart was deleted: it was in step as a whole and nothing in it
// was touched since.
class FolderProof {
 public:
  explicit FolderProof(RunState& run) : run_(run) {}

  // The number of entries, itself included, when the folder carries this job's flag for its path, and everything in it
  // but our own small files is a file, link or such a folder, listed in its own folder's list, unchanged since the last
  // completed run or pass that looked at that folder, and on the same file system. Nothing when one of these is not so.
  // `path`: as the job spells it.
  Result<std::optional<std::uint64_t>> entriesOf(int parent, const std::string& name, const std::string& path);

  // After a number was given: whether what is found in that folder later is what was there when it was proven, and
  // unchanged. Change times are not asked: they move when another name of the file goes.
  [[nodiscard]] bool hasProven(const FileStatus& entry) const;

 private:
  Result<bool> check(int folder, const std::string& path, std::uint64_t device, int depth);

  RunState& run_;
  WalkBorders borders_{run_.files};
  std::uint64_t entries_ = 0;
  struct Seen {
    FileIdentity identity;
    FileTime modified;
    friend auto operator<=>(const Seen&, const Seen&) = default;
  };
  std::vector<Seen> seen_;  // sorted once it is complete; with our own small files
};

}  // namespace lumisk
