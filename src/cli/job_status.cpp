#include "cli/job_status.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/job_table.h"
#include "cli/json_text.h"
#include "cli/text_list.h"
#include "jobs/job_record.h"
#include "platform/byte_text.h"
#include "platform/calendar_date.h"
#include "schedule/next_run.h"

namespace lumisk {
namespace {

// That a run has begun and not ended is known of the jobs that the instance runs; a disabled one may be run elsewhere.
PropertyList settled(const JobState& state, bool instanceRuns) {
  PropertyList job = state.job;
  const bool isOurs = instanceRuns && job[kActiveKey].boolean();
  if (isOurs) job.mutableDictionary()[kJobStatusKey] = static_cast<std::int32_t>(JobStatus::kCompleted);
  return job;
}

std::string runningText(const JobState& state) {
  const char* const word = state.paused ? "paused" : "running";
  const auto& progress = state.progress;
  if (!progress) return word;
  const int percent = std::clamp(static_cast<int>(progress->totalPercent), 0, 99);
  const std::string file = progress->fileName.empty() ? "" : ", " + displayText(progress->fileName);
  return fmt::format("{}, {}%{}", word, percent, file);
}

std::string stateText(const JobState& state, bool instanceRuns) {
  if (state.running) return runningText(state);
  if (state.waitingFor) return displayText(waitingText(*state.waitingFor));
  return displayText(statusLine(settled(state, instanceRuns)));
}

std::string rescannedText(const WatchedCounts& folders) {
  return fmt::format(
      "{} of {} folders are looked at once a minute only; fs.inotify.max_user_watches (sysctl) limits "
      "how many are watched",
      folders.rescanned, folders.watched + folders.rescanned);
}

// Once, and calmly.
std::string noteText(const JobState& state) {
  std::vector<std::string> notes;
  if (state.missed) notes.push_back(missedText(*state.missed));
  if (state.overdue) notes.push_back(overdueText(*state.overdue));
  if (state.folders.rescanned > 0) notes.push_back(rescannedText(state.folders));
  return joinedTexts(notes, "; ");
}

bool hasCompletedLastRun(const JobState& state) {
  const std::string completed = state.job[kLastCompletedBeginKey].text();
  return !state.running && !completed.empty() && completed == state.job[kLastBeginTimeKey].text();
}

nlohmann::ordered_json jsonOf(const std::optional<JobProgressMessage>& progress) {
  if (!progress) return nullptr;
  nlohmann::ordered_json json;
  json["percent"] = progress->totalPercent;
  json["entries"] = progress->entries;
  json["entriesTotal"] = progress->entriesTotal;
  json["bytes"] = progress->bytes;
  json["file"] = jsonOfText(progress->fileName);
  return json;
}

nlohmann::ordered_json jsonOf(const JobState& state, bool instanceRuns, WallTime now) {
  const PropertyList& job = state.job;
  nlohmann::ordered_json json;
  json["name"] = jsonOfText(job[kObjectNameKey].text());
  json["uuid"] = jsonOfText(job[kUuidStringKey].text());
  json["status"] = jsonOfText(statusLine(settled(state, instanceRuns)));
  json["running"] = state.running;
  json["paused"] = state.paused;
  json["active"] = job[kActiveKey].boolean();
  json["lastRan"] = jsonOfText(job[kLastRanTimeKey].text());
  json["lastCompleted"] = jsonOfText(job[kLastCompletedBeginKey].text());
  json["completed"] = hasCompletedLastRun(state);
  json["missed"] = state.missed ? nlohmann::ordered_json(storedDate(*state.missed)) : nlohmann::ordered_json();
  json["overdue"] = state.overdue.has_value();
  json["waitingFor"] = state.waitingFor ? jsonOfText(*state.waitingFor) : nlohmann::ordered_json();
  json["next"] = getNextScheduleString(job, now, kStoredDateFormat);
  json["watched"] = state.folders.watched;
  json["rescanned"] = state.folders.rescanned;
  json["progress"] = jsonOf(state.progress);
  return json;
}

}  // namespace

std::string statusTable(const InstanceState& state, WallTime now) {
  std::string text = state.running ? "Running.\n" : "Not running: jobs run only while `lumisk daemon` runs.\n";
  if (state.jobs.empty()) return text + noJobsText();
  std::vector<std::vector<std::string>> rows{{"NAME", "STATE", "NEXT"}};
  for (const JobState& job : state.jobs) {
    rows.push_back({displayText(job.job[kObjectNameKey].text()), stateText(job, state.running),
                    nextRunText(job.job, now, kShortDateFormat)});
    const std::string note = noteText(job);
    if (!note.empty()) rows.back().push_back(note);
  }
  return text + "\n" + columnsText(rows);
}

std::string statusJson(const InstanceState& state, WallTime now) {
  nlohmann::ordered_json json;
  json["running"] = state.running;
  json["jobs"] = nlohmann::ordered_json::array();
  for (const JobState& job : state.jobs) json["jobs"].push_back(jsonOf(job, state.running, now));
  return printedJson(json);
}

}  // namespace lumisk
