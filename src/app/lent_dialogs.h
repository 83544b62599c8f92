#pragma once

#include <atomic>

#include "app/dialog_desk.h"

namespace lumisk {

// The dialogs of an instance without windows, which a window of another process shows as long as it looks. Everything
// is told to the instance's own dialogs besides. What is asked waits for a window only while there is one: without, and
// when it goes away, the instance's own dialogs answer. What holds until a job completes (a path problem, deletions
// that are held back) is kept for a window that is still to come; what is over is not told late.
class LentDialogs : public UserDialogs {
 public:
  // Both outlive it. Made on the main thread.
  LentDialogs(UserDialogs& own, const Clock& clock) : own_(own), clock_(clock), desk_(clock) {}

  // Any thread.
  void showAlert(const std::string& title, const std::string& message) override;
  void showMessage(const std::string& jobName, const std::string& title, const std::string& message) override;
  void showPathProblem(const PathProblem& problem) override;
  void showFinish(const FinishDialog& dialog) override;
  void showHeldDeletions(const HeldDeletions& held) override;
  ConflictAnswer askConflict(const ConflictQuestion& question) override;
  bool ask(const std::string& title, const std::string& message, const std::string& accept,
           const std::string& refuse) override;
  // Whether a window has looked in the last seconds.
  [[nodiscard]] bool hasWindow() const;

  // Main thread. What a window that looks is to show; it stays away when it does not look again within seconds.
  [[nodiscard]] std::vector<DialogItem> lookOfWindow();
  DialogDesk& desk() { return desk_; }

 private:
  UserDialogs& own_;
  const Clock& clock_;
  DialogDesk desk_;
  std::atomic<std::chrono::steady_clock::time_point> lastLook_{std::chrono::steady_clock::time_point::min()};
};

}  // namespace lumisk
