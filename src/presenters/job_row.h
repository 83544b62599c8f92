#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/clock.h"
#include "presenters/jobs_board.h"

namespace lumisk {

// One job as a line of the job list: texts as they are shown, in the user's language, and the values that they are
// sorted by. Texts with names in them are bytes; windows escape what cannot be shown.

enum class RowState { kNeverRan, kCompleted, kCancelled, kError, kRunning, kRunningWithError };

struct JobRow {
  std::string uuid;
  std::string name;
  JobType type = JobType::kBackup;
  bool isActive = true;
  RowState state = RowState::kNeverRan;

  std::string typeText;    // "Backup"
  std::string sourceText;  // a path in each line, two lines at most; more are told by " . . . . . ."
  std::string targetText;
  std::string allSources, allTargets;  // every path
  std::string statusText;              // a word: "Last Ran", "Generate error"; of a run "43%", "Paused, 43%"
  std::string detailText;              // below it: when, or the file that is being copied
  std::string note;                    // what is not as it should be; usually empty
  std::string nextText;
  std::string lastRanText;
  std::optional<int> permille;  // of a run that has told its progress
  bool isPaused = false;        // its run stands still

  std::optional<WallTime> lastRan;
  std::int64_t nextOrder = 0;  // seconds since 1970; what has no next run comes last

  [[nodiscard]] bool isRunning() const { return state == RowState::kRunning || state == RowState::kRunningWithError; }
  // A clone is carried by another process.
  [[nodiscard]] bool canBePaused() const { return isRunning() && type != JobType::kClone; }
  friend bool operator==(const JobRow&, const JobRow&) = default;
};

// Pure but for the user's language and time zone.
[[nodiscard]] JobRow rowOf(const BoardJob& job, WallTime now);
// The same row while its run lasts.
void setProgress(JobRow& row, const std::optional<JobProgressMessage>& progress, bool isPaused);

[[nodiscard]] std::string jobTypeText(JobType type);
// "today, 21:05", "tomorrow, 21:05", else the date; of moments to come.
[[nodiscard]] std::string soonText(WallTime time, WallTime now);
// When a stored job runs next.
struct NextRun {
  std::string text;              // a date, "Continuous", "The job is disable", "By hand"
  std::optional<WallTime> time;  // of a date
};
[[nodiscard]] NextRun nextRunOf(const PropertyList& stored, WallTime now);

}  // namespace lumisk
