#include "engine/run_dialogs.h"

#include <utility>

namespace lumisk {

RunMessages RunDialogs::showEnd(const RunReport& report, bool lastProblemWasTarget) {
  RunMessages messages = decide(report, lastProblemWasTarget);
  if (run_.dryRun) return messages;
  if (messages.firstCopyOver && services_.setFirstCopyFlag) services_.setFirstCopyFlag(request_.jobIndex);
  if (messages.finishDialogShown) memory_.neededShowFinishDialog = false;
  if (messages.warning) run_.dialogs.showMessage(run_.info.name, kWarningTitle, *messages.warning);
  if (messages.finish) run_.dialogs.showFinish(*messages.finish);
  if (messages.pathProblem) run_.dialogs.showPathProblem(*messages.pathProblem);
  if (report.held && !report.cancelled) run_.dialogs.showHeldDeletions(heldDeletions(report));
  return messages;
}

HeldDeletions RunDialogs::heldDeletions(const RunReport& report) const {
  return {run_.info.name, run_.info.uuidString, report.counts.held, run_.heldPaths};
}

RunMessages RunDialogs::decide(const RunReport& report, bool lastProblemWasTarget) const {
  EndOfRun end;
  end.info = &run_.info;
  end.jobIndex = request_.jobIndex;
  end.method = request_.method;
  end.report = &report;
  end.lastProblemWasTarget = lastProblemWasTarget;
  end.neededShowFinishDialog = memory_.neededShowFinishDialog;
  end.runByFindTarget = request_.runByFindTarget;
  end.suppressed = needSuppressWarningMessage();
  end.pathDialogIsOff = isPathDialogOff();
  // Asking the keychain may wait for it: only where the answer matters.
  end.imageNeedsItsUser = (report.sourceProblem || report.targetProblem) && imageNeedsItsUser();
  return decideRunMessages(end);
}

void RunDialogs::showCapacity(const RunTarget& target, PropertyList::Dictionary& jobKeys) {
  if (run_.dryRun || !run_.info.bDisplayWarning || needSuppressWarningMessage()) return;
  const auto space = run_.files.spaceOf(target.folder.get());
  if (!space) return;
  const auto used = checkIfNeedShowWarnningWindow(*space, run_.info.capacityPercentage);
  if (used && !memory_._ifDisplayed && !run_.info.capacityWarned)
    run_.dialogs.showMessage(run_.info.name, kWarningTitle, capacityWarning(target.path, *used));
  memory_._ifDisplayed = used.has_value();
  if (run_.info.capacityWarned != used.has_value()) jobKeys[kCapacityWarnedKey] = used.has_value();
}

void RunDialogs::showNoSpace() {
  if (run_.dryRun || !memory_._showFreeSpaceDlg || needSuppressWarningMessage()) return;
  memory_._showFreeSpaceDlg = false;
  run_.dialogs.showMessage(run_.info.name, kWarningTitle, kNoSpaceMessage);
}

void RunDialogs::showFolderNotMade(const std::string& path) {
  if (run_.dryRun || std::exchange(isFolderTold_, true)) return;
  if (isPathDialogOff() || needSuppressWarningMessage() || imageNeedsItsUser()) return;
  run_.dialogs.showPathProblem({kTargetMessage, path, run_.info.name, request_.jobIndex});
}

bool RunDialogs::needSuppressWarningMessage() const {
  return services_.preference && services_.preference("SGSuppressErrorMessages").boolean();
}

bool RunDialogs::isPathDialogOff() const {
  return services_.getDataBit && (services_.getDataBit(request_.jobIndex) & kPathDialogOffBit) != 0;
}

bool RunDialogs::imageNeedsItsUser() const {
  return !run_.info.dmgPath.empty() && !services_.images.isAKeychainDMGAtPath(run_.info.dmgPath);
}

}  // namespace lumisk
