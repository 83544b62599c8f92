#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "cli/run_display.h"
#include "platform/user_dialogs.h"

namespace lumisk {

// The dialogs of a run at the command line. What is shown is one line on standard error. What is asked is asked on the
// terminal; where nobody is there, conflicts are decided as the job says and everything else is refused.
class TerminalDialogs : public UserDialogs {
 public:
  TerminalDialogs(RunDisplay& display, ConflictChoice withoutAnswer)
      : display_(display), withoutAnswer_(withoutAnswer) {}

  void showAlert(const std::string& title, const std::string& message) override;
  void showMessage(const std::string& jobName, const std::string& title, const std::string& message) override;
  void showPathProblem(const PathProblem& problem) override;
  void showFinish(const FinishDialog& dialog) override;
  ConflictAnswer askConflict(const ConflictQuestion& question) override;
  bool ask(const std::string& title, const std::string& message, const std::string& accept,
           const std::string& refuse) override;

  // The run is being cancelled: questions end, and nothing is lost by their answer.
  void stopAsking() { isStopping_ = true; }

 private:
  std::optional<std::string> answerTo(const std::string& question);

  RunDisplay& display_;
  const ConflictChoice withoutAnswer_;
  std::atomic<bool> isStopping_{false};
};

// "s", "t", "n" or "b", and "!" behind it for all conflicts of the run; nothing for anything else.
[[nodiscard]] std::optional<ConflictAnswer> parseConflictAnswer(const std::string& line);

}  // namespace lumisk
