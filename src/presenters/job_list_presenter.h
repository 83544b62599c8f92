#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "presenters/job_row.h"
#include "presenters/jobs_board.h"

namespace lumisk {

// The rows of the job list, and what has changed in them since the last look, so that only that is drawn again. Main
// thread only.
class JobListPresenter {
 public:
  JobListPresenter(JobsBoard& board, const Clock& clock) : board_(board), clock_(clock) {}

  struct Changes {
    bool isReset = false;  // jobs came, went or changed places: all is to be read afresh
    std::vector<std::size_t> changed;
    [[nodiscard]] bool isEmpty() const { return !isReset && changed.empty(); }
  };
  Changes readJobs();
  // Only of runs; all jobs when a run has begun or ended.
  Changes readProgress();

  [[nodiscard]] const std::vector<JobRow>& rows() const { return rows_; }
  [[nodiscard]] const JobRow* find(const std::string& uuid) const;
  [[nodiscard]] std::size_t runningCount() const;
  [[nodiscard]] std::string nextText() const;  // "Next: Photos, today, 21:05"; nothing without a date
  [[nodiscard]] std::string summary() const;   // "6 jobs, 1 running", and the next run

 private:
  JobsBoard& board_;
  const Clock& clock_;
  std::vector<JobRow> rows_;
};

// What can be done with the selected jobs. Start acts as Stop while one of them runs.
struct JobActions {
  bool canStart = false;
  bool canStop = false;
  bool canPause = false;    // one of them runs and can be paused
  bool canResume = false;   // all of those are paused
  bool canEnable = false;   // one of them is disabled
  bool canDisable = false;  // none is
  bool canOpen = false;     // exactly one: to edit, for its log, to restore
  bool canDelete = false;
};
[[nodiscard]] JobActions actionsFor(const std::vector<const JobRow*>& selected);

}  // namespace lumisk
