#include "engine/run_messages.h"

#include <fmt/format.h>

#include "platform/byte_text.h"
#include "platform/translation.h"

namespace lumisk {
namespace {

constexpr const char* kIncompleteMessage =
    "You may have an incomplete backup.\n\n"
    "Please view the file \"~/Log/Qel Lumisk.log\" about detailed info";
constexpr const char* kMonitorMessage =
    "Qel Lumisk will now monitor your source and target folders and keep their contents synchronized.";
constexpr const char* kSourceMessage = "Source folder isn't readable or does not exist.";

bool hasProblem(const RunReport& report) {
  return report.refused || report.sourceProblem || report.targetProblem;
}

FinishDialog finishDialog(const EndOfRun& end) {
  FinishDialog dialog;
  dialog.title = end.info->name;
  dialog.message = "Backup has been completed.";
  if (isSync(end.info->jobType)) dialog.message = kMonitorMessage;
  if (end.info->jobType == JobType::kSyncWithConflicts) dialog.upperMessage = "Synchronization has been completed.";
  if (end.method == CopyMethod::kNormal && end.report->cancelled) dialog.message = "User canceled the job.";
  return dialog;
}

PathProblem pathProblem(const EndOfRun& end) {
  PathProblem problem;
  problem.message = end.lastProblemWasTarget ? kTargetMessage : kSourceMessage;
  if (end.report->refused || end.report->placeInDoubt) problem.message = end.report->problemText;
  problem.path = end.report->problemPath;
  problem.jobName = end.info->name;
  problem.jobIndex = end.jobIndex;
  return problem;
}

void decideFirstCopy(const EndOfRun& end, RunMessages& messages) {
  // A cancelled first copy is not over: the next one goes on with it.
  messages.firstCopyOver = end.report->completed && end.report->wholeJob;
  if (end.method == CopyMethod::kNormal && !end.neededShowFinishDialog) return;
  messages.finishDialogShown = true;
  if (!end.runByFindTarget) messages.finish = finishDialog(end);
}

}  // namespace

RunMessages decideRunMessages(const EndOfRun& end) {
  RunMessages messages;
  const RunError code = end.report->errorCode;
  // A full target has had its own message by now; it is an error all the same.
  messages.hasError =
      code != RunError::kNone || end.report->counts.errors > 0 || hasProblem(*end.report) || end.report->held;
  if (code != RunError::kNone && code != RunError::kOutOfSpace && !end.suppressed)
    messages.warning = kIncompleteMessage;
  if (code == RunError::kNone && end.info->bFirstCopy && !hasProblem(*end.report)) {
    decideFirstCopy(end, messages);
  } else if (hasProblem(*end.report) && !end.pathDialogIsOff && !end.suppressed && !end.imageNeedsItsUser) {
    messages.pathProblem = pathProblem(end);
  }
  return messages;
}

std::optional<int> checkIfNeedShowWarnningWindow(const SpaceStatus& space, int capacityPercentage) {
  if (space.total == 0) return std::nullopt;
  const float freePercent = static_cast<float>(space.available) * 100.0F / static_cast<float>(space.total);
  if (!(freePercent < static_cast<float>(100 - capacityPercentage))) return std::nullopt;
  return static_cast<int>(100.0F - freePercent);
}

std::string capacityWarning(const std::string& target, int usedPercent) {
  const std::string text = translated(
      "The destination {} is at {}% capacity. Please free up more space or choose a different destination for this "
      "Lumisk job.");
  return fmt::format(fmt::runtime(text), displayText(target), usedPercent);
}

}  // namespace lumisk
