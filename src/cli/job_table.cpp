#include "cli/job_table.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "app/job_status_updates.h"
#include "cli/job_options.h"
#include "cli/json_text.h"
#include "cli/schedule_text.h"
#include "cli/text_list.h"
#include "jobs/job_record.h"
#include "platform/byte_text.h"
#include "platform/terminal.h"
#include "schedule/next_run.h"

namespace lumisk {
namespace {

// What cannot be read as a job is listed all the same, with what it has.
QUORVELPREFERENCEINFO recordOf(const PropertyList& job) {
  QUORVELPREFERENCEINFO record;
  if (!jobFromDictionary(job, record)) record.name = job[kObjectNameKey].text();
  return record;
}

std::string revisionsText(const QUORVELPREFERENCEINFO& job) {
  switch (job.revision_method) {
    case RevisionMethod::kUnlimited:
      return "all";
    case RevisionMethod::kLimited:
      return std::to_string(job.revision_maxNumber);
    default:
      return "none";
  }
}

std::string yesNo(bool value) {
  return value ? "yes" : "no";
}

std::vector<std::string> displayed(const std::vector<std::string>& texts) {
  std::vector<std::string> shown;
  shown.reserve(texts.size());
  for (const std::string& text : texts) shown.push_back(displayText(text));
  return shown;
}

using Rows = std::vector<std::vector<std::string>>;

void addRows(Rows& rows, const std::string& label, const std::vector<std::string>& texts) {
  for (std::size_t i = 0; i < texts.size(); ++i) rows.push_back({i == 0 ? label : "", displayText(texts[i])});
}

void addRow(Rows& rows, const std::string& label, const std::string& text) {
  if (!text.empty()) rows.push_back({label, text});
}

void addCopyRows(Rows& rows, const QUORVELPREFERENCEINFO& job) {
  addRow(rows, "image", displayText(job.dmgPath));
  addRow(rows, "revisions", revisionsText(job));
  addRow(rows, "trash", yesNo(job.bMoveFileTrash));
  addRow(rows, "full path", yesNo(job.bRetainFullPath));
  addRow(rows, "include", joinedTexts(displayed(job.inclusionArray), ","));
  addRow(rows, "exclude", joinedTexts(displayed(job.exclusionArray), ","));
}

void addCloneRows(Rows& rows, const QUORVELPREFERENCEINFO& job) {
  const auto verify = job.otherKeys.find(kVerifyCloneKey);
  addRow(rows, "format", yesNo(job.bFormatVolume));
  addRow(rows, "repair permissions", yesNo(job.bRepairPermissions));
  addRow(rows, "verify", yesNo(verify != job.otherKeys.end() && verify->second.boolean()));
}

}  // namespace

std::string statusLine(const PropertyList& job) {
  if (static_cast<JobStatus>(job[kJobStatusKey].integer32()) == JobStatus::kRunning) {
    return "Started " + job[kLastBeginTimeKey].text() + ", not finished";
  }
  std::string line = statusText(job);
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

std::string jobTable(const PropertyList::Array& jobs, WallTime now) {
  if (jobs.empty()) return noJobsText();
  Rows rows{{"NAME", "TYPE", "STATUS", "NEXT"}};
  for (const PropertyList& job : jobs) {
    const auto record = recordOf(job);
    rows.push_back({displayText(record.name), jobTypeName(record.jobType), displayText(statusLine(job)),
                    nextRunText(job, now, kShortDateFormat)});
  }
  return columnsText(rows);
}

std::string noJobsText() {
  return "No jobs. `lumisk job add` makes one.\n";
}

std::string nextRunText(const PropertyList& job, WallTime now, const char* dateFormat) {
  const auto record = recordOf(job);
  const bool isByHand = record.bActive && record.scheduling_method == SchedulingMethod::kNone;
  return isByHand ? "by hand" : getNextScheduleString(job, now, dateFormat);
}

std::string nextTable(const PropertyList::Array& jobs, WallTime now) {
  if (jobs.empty()) return noJobsText();
  Rows rows{{"NAME", "NEXT"}};
  for (const PropertyList& job : jobs) {
    rows.push_back({displayText(job[kObjectNameKey].text()), nextRunText(job, now, kShortDateFormat)});
  }
  return columnsText(rows);
}

std::string nextJson(const PropertyList::Array& jobs, WallTime now) {
  auto list = nlohmann::ordered_json::array();
  for (const PropertyList& job : jobs) {
    nlohmann::ordered_json entry;
    entry["name"] = jsonOfText(job[kObjectNameKey].text());
    entry["next"] = getNextScheduleString(job, now, kStoredDateFormat);
    list.push_back(std::move(entry));
  }
  return printedJson(list);
}

std::string jobListJson(const PropertyList::Array& jobs, WallTime now) {
  auto list = nlohmann::ordered_json::array();
  for (const PropertyList& job : jobs) {
    const auto record = recordOf(job);
    nlohmann::ordered_json entry;
    entry["index"] = list.size();
    entry["name"] = jsonOfText(record.name);
    entry["type"] = jobTypeName(record.jobType);
    entry["active"] = record.bActive;
    entry["status"] = jsonOfText(statusLine(job));
    entry["lastRan"] = jsonOfText(record.lastRanTime);
    entry["next"] = getNextScheduleString(job, now, kStoredDateFormat);
    entry["sources"] = jsonOfTexts(record.sourcePaths);
    entry["targets"] = jsonOfTexts(record.targetPaths);
    list.push_back(std::move(entry));
  }
  return printedJson(list);
}

std::string jobDescription(const PropertyList& job, WallTime now) {
  const auto record = recordOf(job);
  Rows rows{{"name", displayText(record.name)}, {"type", jobTypeName(record.jobType)}};
  addRow(rows, "active", yesNo(record.bActive));
  addRow(rows, "status", displayText(statusLine(job)));
  addRow(rows, "schedule", scheduleText(record));
  addRow(rows, "next", getNextScheduleString(job, now, kShortDateFormat));
  addRows(rows, "sources", record.sourcePaths);
  addRows(rows, "targets", record.targetPaths);
  record.jobType == JobType::kClone ? addCloneRows(rows, record) : addCopyRows(rows, record);
  addRow(rows, "uuid", displayText(record.uuidString));
  return columnsText(rows);
}

std::string columnsText(const std::vector<std::vector<std::string>>& rows) {
  std::vector<int> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()), 0);
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], terminal::columnsOf(row[i]));
  }
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      const int missing = widths[i] - terminal::columnsOf(row[i]) + 2;
      if (i + 1 < row.size()) text.append(static_cast<std::size_t>(missing), ' ');
    }
    text += '\n';
  }
  return text;
}

}  // namespace lumisk
