#include "engine/run_dialogs.h"

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
  end.pathDialogIsOff = services_.getDataBit && (services_.getDataBit(request_.jobIndex) & kPathDialogOffBit) != 0;
  end.imageNeedsItsUser = imageNeedsItsUser(report);
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

bool RunDialogs::needSuppressWarningMessage() const {
  return services_.preference && services_.preference("SGSuppressErrorMessages").boolean();
}

// Asking the keychain may wait for it: only where the answer matters.
bool RunDialogs::imageNeedsItsUser(const RunReport& report) const {
  const bool hasProblem = report.sourceProblem || report.targetProblem;
  return hasProblem && !run_.info.dmgPath.empty() && !services_.images.isAKeychainDMGAtPath(run_.info.dmgPath);
}

}  // namespace lumisk
