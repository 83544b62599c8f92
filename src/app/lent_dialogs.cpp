#include "app/lent_dialogs.h"

namespace lumisk {
namespace {

constexpr std::chrono::seconds kLongestAway{10};  // windows look once a second

}  // namespace

bool LentDialogs::hasWindow() const {
  const auto last = lastLook_.load();
  return last != std::chrono::steady_clock::time_point::min() && clock_.steadyNow() - last < kLongestAway;
}

std::vector<DialogItem> LentDialogs::lookOfWindow() {
  lastLook_ = clock_.steadyNow();
  return desk_.items();
}

void LentDialogs::showAlert(const std::string& title, const std::string& message) {
  own_.showAlert(title, message);
  if (hasWindow()) desk_.showAlert(title, message);
}

void LentDialogs::showMessage(const std::string& jobName, const std::string& title, const std::string& message) {
  own_.showMessage(jobName, title, message);
  if (hasWindow()) desk_.showMessage(jobName, title, message);
}

void LentDialogs::showPathProblem(const PathProblem& problem) {
  own_.showPathProblem(problem);
  desk_.showPathProblem(problem);
}

void LentDialogs::showFinish(const FinishDialog& dialog) {
  own_.showFinish(dialog);
  if (hasWindow()) desk_.showFinish(dialog);
}

void LentDialogs::showHeldDeletions(const HeldDeletions& held) {
  own_.showHeldDeletions(held);
  desk_.showHeldDeletions(held);
}

ConflictAnswer LentDialogs::askConflict(const ConflictQuestion& question) {
  const auto isToEnd = [&] { return question.mustStop && question.mustStop(); };
  if (hasWindow()) {
    DialogItem item{.kind = DialogKind::kConflict, .job = question.jobName, .conflict = question};
    const auto answer = desk_.askWindow(std::move(item), [&] { return isToEnd() || !hasWindow(); });
    if (answer || isToEnd()) return answer.value_or(DialogAnswer{}).conflict;
  }
  return own_.askConflict(question);
}

// The main thread waits for nobody: it answers the windows.
bool LentDialogs::ask(const std::string& title, const std::string& message, const std::string& accept,
                      const std::string& refuse) {
  if (hasWindow() && !desk_.isMainThread()) {
    DialogItem item{.kind = DialogKind::kQuestion, .title = title, .accept = accept, .refuse = refuse};
    item.texts = {{message, clock_.now(), 1}};
    const auto answer = desk_.askWindow(std::move(item), [this] { return !hasWindow(); });
    if (answer) return answer->isAccepted;
  }
  return own_.ask(title, message, accept, refuse);
}

}  // namespace lumisk
