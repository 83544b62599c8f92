#pragma once

#include "platform/main_loop.h"
#include "platform/user_dialogs.h"

namespace lumisk {

// What is asked and shown, as simple boxes on the main thread. Questions from other threads wait for the main loop.
class PlainDialogs : public UserDialogs {
 public:
  explicit PlainDialogs(MainLoop& loop) : loop_(loop) {}
  void showAlert(const std::string& title, const std::string& message) override;
  void showMessage(const std::string& jobName, const std::string& title, const std::string& message) override;
  void showPathProblem(const PathProblem& problem) override;
  void showFinish(const FinishDialog& dialog) override;
  ConflictAnswer askConflict(const ConflictQuestion& question) override;
  bool ask(const std::string& title, const std::string& message, const std::string& accept,
           const std::string& refuse) override;

 private:
  MainLoop& loop_;
};

}  // namespace lumisk
