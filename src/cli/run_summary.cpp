#include "cli/run_summary.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/json_text.h"
#include "cli/text_list.h"
#include "platform/number_text.h"

namespace lumisk {
namespace {

const char* resultName(RunOutcome result) {
  switch (result) {
    case RunOutcome::kCompleted:
      return "completed";
    case RunOutcome::kCancelled:
      return "cancelled";
    case RunOutcome::kHeld:
      return "held";
    case RunOutcome::kError:
      break;
  }
  return "error";
}

const char* headWord(RunOutcome result) {
  switch (result) {
    case RunOutcome::kCompleted:
      return "";
    case RunOutcome::kCancelled:
      return "Cancelled: ";
    case RunOutcome::kHeld:
      return "Held: ";
    case RunOutcome::kError:
      break;
  }
  return "Incomplete: ";
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return countText(count) + " " + (count == 1 ? one : many);
}

std::string headLine(const RunReport& report, RunKind kind) {
  const RunCounts& counts = report.counts;
  const std::string bytes = counts.bytes > 0 || kind == RunKind::kReal ? " (" + bytesText(counts.bytes) + ")" : "";
  // A clone counts what its helper has looked at and written.
  if (counts.copied == 0 && counts.bytes > 0)
    return fmt::format("{}{}, {} written in {}\n", headWord(resultOf(report)),
                       counted(counts.entries, "entry", "entries"), bytesText(counts.bytes),
                       durationText(report.seconds));
  return fmt::format("{}{}, {}{} copied{} in {}\n", headWord(resultOf(report)),
                     counted(counts.entries, "entry", "entries"), countText(counts.copied),
                     kind == RunKind::kDry ? " would be" : "", bytes, durationText(report.seconds));
}

std::string restLine(const RunCounts& counts) {
  std::vector<std::string> parts;
  const auto add = [&](std::uint64_t count, const char* one, const char* many) {
    if (count > 0) parts.push_back(counted(count, one, many));
  };
  add(counts.revisions, "earlier version kept", "earlier versions kept");
  add(counts.deleted, "deleted", "deleted");
  add(counts.held, "deletion held back", "deletions held back");
  add(counts.skipped, "left out", "left out");
  add(counts.losses, "with lost attributes", "with lost attributes");
  add(counts.errors, "error", "errors");
  return parts.empty() ? "" : joinedTexts(parts, ", ") + "\n";
}

}  // namespace

RunOutcome resultOf(const RunReport& report) {
  if (report.cancelled) return RunOutcome::kCancelled;
  const bool hasError = report.refused || report.sourceProblem || report.targetProblem ||
                        report.errorCode != RunError::kNone || report.counts.errors > 0;
  if (report.counts.held > 0 && !hasError) return RunOutcome::kHeld;
  return report.completed && !hasError ? RunOutcome::kCompleted : RunOutcome::kError;
}

Ending endingOf(const RunReport& report) {
  switch (resultOf(report)) {
    case RunOutcome::kCompleted:
      return Ending::kDone;
    case RunOutcome::kCancelled:
      return Ending::kCancelled;
    case RunOutcome::kHeld:
    case RunOutcome::kError:
      break;
  }
  return report.refused ? Ending::kRefused : Ending::kIncomplete;
}

std::string summaryText(const RunReport& report, RunKind kind) {
  return headLine(report, kind) + restLine(report.counts);
}

nlohmann::ordered_json summaryJson(const std::string& jobName, const RunReport& report) {
  const RunCounts& counts = report.counts;
  nlohmann::ordered_json json;
  json["job"] = jsonOfText(jobName);
  json["result"] = resultName(resultOf(report));
  json["errorCode"] = static_cast<std::int32_t>(report.errorCode);
  json["entries"] = counts.entries;
  json["copied"] = counts.copied;
  json["bytes"] = counts.bytes;
  json["deleted"] = counts.deleted;
  json["held"] = counts.held;
  json["revisions"] = counts.revisions;
  json["skipped"] = counts.skipped;
  json["seconds"] = std::round(report.seconds * 1000) / 1000;
  return json;
}

}  // namespace lumisk
