#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/job_progress_message.h"
#include "engine/run_report.h"
#include "platform/property_list.h"

namespace lumisk {

// What is said to a running instance through its message server, as dictionaries, and what it answers. An answer has
// "result" and, when that is not kDone, "reason" (one line for a person).

enum class RequestAction : std::int32_t {
  // From file managers, with "selected_Array" (paths).
  kAddSources = 101,  // to a job that the user picks
  kNewJob = 102,
  // From our own faces. Jobs go by "uuid".
  kStatus = 1001,  // -> "jobs": one dictionary for each job, see below
  kStart = 1002,   // "options" -> "endedRuns" before this run; kBusy when the job runs already
  kStop = 1003,    // cancels the run of a job -> "running": whether there was one
  kFollow = 1004,  // "endedRuns" of kStart -> "ended" (bool); then "report", else "progress" (when there is one)
  // "changes", see app/job_changes.h -> "stoppedRuns": names of jobs whose run had other settings and was stopped;
  // kConflict when somebody else has changed the same. Answered when those runs have ended, which may take long.
  kChangeJobs = 1005,
  kReload = 1006,         // read the store again
  kSetPreference = 1007,  // "key" and "value" of "SGPreferences"
  kShowWindow = 1008,     // kRefused by an instance without windows
  kShowVersions = 1009,  // of the one path in "selected_Array", to be put back; kRefused by an instance without windows
  // For windows of an instance without any (app/lent_dialogs.h); kRefused by one with windows.
  kDialogs = 1010,       // -> "dialogs", see app/dialog_requests.h; whoever asks shows them, and asks again soon
  kAnswerDialog = 1011,  // "dialog" (its id) and "answer"; kRefused when it has gone before
  // The run of a job stands still, or goes on; kRefused when it does not run, is a clone, or is not paused.
  kPause = 1012,
  kResume = 1013,
};

enum class RequestResult : std::int32_t {
  kDone = 0,
  kNoSuchJob = 1,
  kBusy = 2,
  kConflict = 3,
  kRefused = 4,  // "reason" says why
  kNotUnderstood = 5,
};

inline constexpr const char* kActionTypeKey = "action_Type";
inline constexpr const char* kSelectedArrayKey = "selected_Array";
inline constexpr const char* kRequestUuidKey = "uuid";
inline constexpr const char* kRequestOptionsKey = "options";
inline constexpr const char* kRequestChangesKey = "changes";
inline constexpr const char* kPreferenceKeyKey = "key";
inline constexpr const char* kPreferenceValueKey = "value";
inline constexpr const char* kStoppedRunsKey = "stoppedRuns";
inline constexpr const char* kEndedRunsKey = "endedRuns";
inline constexpr const char* kEndedKey = "ended";
inline constexpr const char* kReportKey = "report";
inline constexpr const char* kProgressKey = "progress";
inline constexpr const char* kResultKey = "result";
inline constexpr const char* kReasonKey = "reason";
inline constexpr const char* kJobsKey = "jobs";
inline constexpr const char* kDialogsKey = "dialogs";
inline constexpr const char* kDialogKey = "dialog";
inline constexpr const char* kDialogAnswerKey = "answer";
// Of each job in "jobs", besides "uuid", "endedRuns" and "progress".
inline constexpr const char* kRunningKey = "running";             // bool
inline constexpr const char* kPausedKey = "paused";               // bool, of a run; in the answer to kFollow, too
inline constexpr const char* kSchedulerKey = "scheduled";         // bool: its scheduler's thread runs
inline constexpr const char* kWatchedFoldersKey = "watched";      // number of folders listened to
inline constexpr const char* kRescannedFoldersKey = "rescanned";  // number of folders that are looked at on a timer

// Reasons of kPause and kResume.
inline constexpr const char* kNotRunningReason = "the job does not run";
inline constexpr const char* kCloneIsNotPausedReason = "a clone cannot be paused, only stopped";
inline constexpr const char* kNotPausedReason = "the job is not paused";

// The forms in which they travel. What is missing reads as its default; a dictionary from outside is never trusted.
[[nodiscard]] PropertyList::Dictionary dictionaryOf(const RunOptions& options);
[[nodiscard]] RunOptions runOptionsOf(const PropertyList& dictionary);
[[nodiscard]] PropertyList::Dictionary dictionaryOf(const RunReport& report);
[[nodiscard]] RunReport runReportOf(const PropertyList& dictionary);
[[nodiscard]] PropertyList::Dictionary dictionaryOf(const JobProgressMessage& message);
[[nodiscard]] JobProgressMessage progressMessageOf(const PropertyList& dictionary);

}  // namespace lumisk
