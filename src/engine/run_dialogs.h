#pragma once

#include "engine/run_messages.h"
#include "engine/run_request.h"
#include "engine/run_targets.h"

namespace lumisk {

// Shows what a run has to say to the user, as seldom as the worker's memory wants. Nothing in a dry run.
class RunDialogs {
 public:
  RunDialogs(const WorkerServices& services, RunMemory& memory, const RunRequest& request, RunState& run)
      : services_(services), memory_(memory), request_(request), run_(run) {}

  // What the end of the run means, after it has been shown and the stored job's first-copy flag has followed.
  RunMessages showEnd(const RunReport& report, bool lastProblemWasTarget);
  // Once for each time that the target fills up, not after every run: that it was shown is stored with the job.
  void showCapacity(const RunTarget& target, PropertyList::Dictionary& jobKeys);
  void showNoSpace();                               // once in the worker's life
  void showFolderNotMade(const std::string& path);  // once in a run: the log has them all

 private:
  [[nodiscard]] RunMessages decide(const RunReport& report, bool lastProblemWasTarget) const;
  [[nodiscard]] HeldDeletions heldDeletions(const RunReport& report) const;
  [[nodiscard]] bool needSuppressWarningMessage() const;
  [[nodiscard]] bool isPathDialogOff() const;
  [[nodiscard]] bool imageNeedsItsUser() const;

  const WorkerServices& services_;
  RunMemory& memory_;
  const RunRequest& request_;
  RunState& run_;
  bool isFolderTold_ = false;
};

}  // namespace lumisk
