#pragma once

#include <string>
#include <vector>

#include "platform/user_dialogs.h"

namespace lumisk::test {

// Shows nothing and answers as it is told.
class SilentDialogs : public UserDialogs {
 public:
  void showAlert(const std::string& title, const std::string& message) override {
    alerts.push_back(title + ": " + message);
  }
  void showMessage(const std::string&, const std::string&, const std::string&) override {}
  void showPathProblem(const PathProblem&) override {}
  void showFinish(const FinishDialog&) override {}
  ConflictAnswer askConflict(const ConflictQuestion&) override { return {}; }
  bool ask(const std::string& title, const std::string& message, const std::string& accept,
           const std::string& refuse) override {
    asked.push_back(title + ": " + message + " [" + accept + "] [" + refuse + "]");
    return answer;
  }
  bool answer = false;
  std::vector<std::string> alerts, asked;
};

}  // namespace lumisk::test
