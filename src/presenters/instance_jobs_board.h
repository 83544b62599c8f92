#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "app/dialog_desk.h"
#include "platform/main_loop.h"
#include "platform/user_defaults.h"
#include "presenters/request_board.h"

namespace lumisk {

// Another instance, by its message server: whether one serves this home folder, and of which kind. When it has windows,
// it has brought them to the front, or shown the earlier versions of a path that is given.
enum class OtherInstance { kNone, kWithoutWindows, kShowsItsWindow };
[[nodiscard]] OtherInstance askOtherInstance(const std::string& pathToRestore = {});

// The jobs of an instance without windows, which owns the store: everything that changes goes over its message server;
// what is stored is read from the disk. A thread of its own asks once a second what runs. Main thread only.
class InstanceJobsBoard : public RequestBoard {
 public:
  // Has blocking work done while the windows stay alive; returns when it is done. The default does it at once.
  using Wait = std::function<void(const std::function<void()>& work)>;
  // `lost` is called once, on the main thread, when the instance does not answer any longer.
  InstanceJobsBoard(
      MainLoop& loop, const Clock& clock, std::function<void()> lost,
      Wait wait = [](const std::function<void()>& work) { work(); },
      std::chrono::milliseconds betweenQuestions = std::chrono::seconds(1));
  ~InstanceJobsBoard() override;
  InstanceJobsBoard(const InstanceJobsBoard&) = delete;
  InstanceJobsBoard& operator=(const InstanceJobsBoard&) = delete;

  // Has the instance's dialogs shown and answered on this desk, which outlives the board.
  void showDialogsOn(DialogDesk& desk);
  std::vector<BoardRun> running() override { return runs_; }
  PropertyList preference(const std::string& key) override;

 private:
  struct Answer {
    bool isThere = false;
    std::vector<BoardRun> runs;
    bool hasNewJobs = false;
    std::optional<std::vector<DialogItem>> newDialogs{};
  };
  struct Known {
    PropertyList jobs, dialogs;
  };
  Result<PropertyList::Dictionary> ask(RequestAction action, PropertyList::Dictionary request) override;
  PropertyList::Array storedJobs() override;
  void askAgainAndAgain();
  Answer askOnce(Known& known);
  void sendAnswers();
  void take(const Answer& answer);
  bool rest();  // false when the board goes

  MainLoop& loop_;
  UserDefaults defaults_{UserDefaults::standardPath()};
  std::function<void()> lost_;
  Wait wait_;
  const std::chrono::milliseconds betweenQuestions_;
  std::vector<BoardRun> runs_;
  std::shared_ptr<InstanceJobsBoard*> self_;  // what the thread has left for the main loop asks whether it is there
  std::mutex mutex_;
  std::condition_variable ending_;
  bool isEnding_ = false;
  bool asksSoon_ = false;                          // something has just been changed
  std::vector<PropertyList::Dictionary> answers_;  // of dialogs, to be sent
  std::atomic<bool> showsDialogs_{false};
  DialogDesk* desk_ = nullptr;
  std::thread thread_;
};

}  // namespace lumisk
