#pragma once

#include <cstdint>

#include "engine/run_request.h"
#include "engine/run_targets.h"

namespace lumisk {

// Brings what a run wrote to the disk at its end, and knows what earlier runs may have left unwritten. Belongs to the
// run's thread.
//
// The system tells once that it could not write something back, and not what; what it holds in memory looks whole all
// the same. So a sync that failed leaves a doubt: what has been changed since the begin of the run in question is
// copied again, by every run until one has completed (RunState::doubtedSince).
class LastSync {
 public:
  LastSync(const WorkerServices& services, RunMemory& memory, const RunRequest& request, RunState& run)
      : services_(services), memory_(memory), request_(request), run_(run) {}

  // Before anything is decided: what the run cannot take for granted.
  void begin();
  // Waits, but not after a stop of the run; that is no error. `isWhole`: all targets of the job are open.
  Result<void> settle(RunTargets& targets, bool isWhole);
  void fillReport(RunReport& report);

 private:
  [[nodiscard]] bool earlierAreSettled() const;
  Result<void> bringToDisk(RunTargets& targets, bool withTargets, std::int64_t since);

  const WorkerServices& services_;
  RunMemory& memory_;
  const RunRequest& request_;
  RunState& run_;
  std::int64_t lostBefore_ = 0;
};

}  // namespace lumisk
