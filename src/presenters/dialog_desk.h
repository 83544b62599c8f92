#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/main_loop.h"
#include "platform/user_dialogs.h"

namespace lumisk {

enum class DialogKind { kAlert, kMessage, kPathProblem, kFinish, kHeldDeletions, kQuestion, kConflict };

// One thing that is told, however often.
struct ToldText {
  std::string text;  // English, as it was told; see dialogTexts()
  WallTime last{};
  unsigned times = 1;
};

// What one window shows.
struct DialogItem {
  std::uint64_t id = 0;  // of the window, for as long as it stands
  DialogKind kind = DialogKind::kAlert;
  std::string job{};  // its name; may be empty
  std::string title{};
  std::string upperText{};         // of kFinish
  std::vector<ToldText> texts{};   // the latest last
  std::string path{};              // of kPathProblem
  std::string accept{}, refuse{};  // of kQuestion
  bool isWaitedFor = false;        // the main thread stands still for it: it may take the focus
  ConflictQuestion conflict{};
  HeldDeletions held{};
};

// The dialogs of the desktop, without their windows. What is shown returns at once; the same kind of trouble of the
// same job changes the window that stands there. What is asked blocks the calling thread until the window answers. A
// window that is closed, a run that is to end, the end of the application and a main thread that has stood still for
// long (it may be waiting for the very thread that asks) give the safe answer: no, and of conflicts both versions.
//
// The thread that makes the desk is the main thread, which serves the windows; questions that it asks itself are waited
// for in a nested loop.
class DialogDesk : public UserDialogs {
 public:
  explicit DialogDesk(const Clock& clock);
  ~DialogDesk() override;  // end()

  // Any thread.
  void showAlert(const std::string& title, const std::string& message) override;
  void showMessage(const std::string& jobName, const std::string& title, const std::string& message) override;
  void showPathProblem(const PathProblem& problem) override;
  void showFinish(const FinishDialog& dialog) override;
  void showHeldDeletions(const HeldDeletions& held) override;
  void showVolumeNotice(const VolumeNotice& notice) override;
  ConflictAnswer askConflict(const ConflictQuestion& question) override;
  bool ask(const std::string& title, const std::string& message, const std::string& accept,
           const std::string& refuse) override;
  [[nodiscard]] std::vector<DialogItem> items() const;

  // Main thread from here on.
  // Told of every change; windows follow items().
  void observe(std::function<void()> changed) { changed_ = std::move(changed); }
  // How questions of the main thread are waited for; without, by the main loop.
  using NestedLoop = std::function<void(const std::function<bool()>& isOver)>;
  void setNestedLoop(NestedLoop loop);  // an empty one: the main loop's again
  // Tells of a volume in passing; without, it becomes a message.
  void setVolumeNotices(std::function<void(const VolumeNotice&)> tell);
  // Runs a job once with its deletions let through. Why not, in one line; nothing: it runs.
  using Release = std::function<std::optional<std::string>(const HeldDeletions& held)>;
  void setRelease(Release release) { release_ = std::move(release); }

  void close(std::uint64_t id);  // the window has gone; a question gets its safe answer
  void answer(std::uint64_t id, bool accepted);
  void answerConflict(std::uint64_t id, ConflictAnswer answer);
  // The window goes when the run has been started; else it says why not, in one line.
  std::optional<std::string> releaseDeletions(std::uint64_t id);
  // A run of the job has completed: what was told of it is over.
  void jobCompleted(const std::string& jobName);
  // All questions have their safe answers, also those that are still to come.
  void end();

 private:
  struct Question;
  struct Entry {
    DialogItem item;
    std::shared_ptr<Question> question;  // null: nobody waits
  };
  struct Ping;

  void show(DialogItem item, const std::string& text);
  Entry& entryFor(DialogItem item);  // with the lock held
  std::shared_ptr<Question> put(DialogItem item);
  void await(const std::shared_ptr<Question>& question, const std::function<bool()>& mustStop);
  void awaitOnMainThread(const std::shared_ptr<Question>& question);
  [[nodiscard]] bool isOver(const std::shared_ptr<Question>& question) const;
  void settle(std::uint64_t id, const std::function<void(Question&)>& give);
  void drop(const std::shared_ptr<Question>& question);
  [[nodiscard]] bool isMainThread() const { return std::this_thread::get_id() == mainThread_; }
  void tell();  // the observer, on the main thread

  const Clock& clock_;
  MainLoop loop_;  // its own, so that it is served from within other loops' work, too
  const std::thread::id mainThread_ = std::this_thread::get_id();
  std::function<void()> changed_;
  NestedLoop nestedLoop_;
  Release release_;

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable answered_;
  std::vector<Entry> entries_;
  std::uint64_t lastId_ = 0;
  bool hasEnded_ = false;
  bool isToBeTold_ = false;
  std::function<void(const VolumeNotice&)> tellOfVolume_;
};

}  // namespace lumisk
