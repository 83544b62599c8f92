#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/run_report.h"
#include "engine/two_way_rules.h"

namespace lumisk {

// What a worker remembers from one run to the next. Belongs to whoever holds the lock of
// the runs.
struct RunMemory {
  std::uint64_t fileTotal = 0;  // entries of the sources: counted once in the worker's life; 0 until then
  bool neededShowFinishDialog = true;
  bool _showFreeSpaceDlg = true;  // "not enough free space" has not been shown yet
  bool _ifDisplayed = false;      // the capacity warning has been shown since the target last had room
  // Whether all that earlier runs wrote has reached the disk. Before the first run of this worker only the stored dates
  // tell.
  std::optional<bool> settled;
  std::int64_t unsettledSince = 0;  // the begin of the first run that is not, in nanoseconds since 1970; 0: unknown
  ConflictMemory conflicts;
  CompletedPasses passes;  // since the last completed run of the whole job
};

// One request, with the settings as they were when it was taken up.
struct RunRequest {
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart info;
  std::int32_t jobIndex = -1;
  CopyMethod method = CopyMethod::kNothing;
  std::vector<std::string> listenedFolders;  // of kListenedFolders: a pass over these and all below them
  std::uint64_t number = 0;
  RunOptions options;
  WallTime begin{};
  bool runByFindTarget = false;
};

}  // namespace lumisk
