#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "app/dialog_item.h"
#include "platform/main_loop.h"

namespace lumisk {

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
  // The answer to a question; nothing when nobody waits for it any more, by `mustStop`, which may be empty, or because
  // the main thread stands still.
  std::optional<DialogAnswer> askWindow(DialogItem question, const std::function<bool()>& mustStop);
  [[nodiscard]] std::vector<DialogItem> items() const;
  [[nodiscard]] bool isMainThread() const { return std::this_thread::get_id() == mainThread_; }

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

  // The window has gone, with an answer or without. False when it had gone before.
  bool close(std::uint64_t id, const DialogAnswer& answer = {});
  void answer(std::uint64_t id, bool accepted) { close(id, {accepted, {}}); }
  void answerConflict(std::uint64_t id, ConflictAnswer answer) { close(id, {false, answer}); }
  // The window goes when the run has been started; else it says why not, in one line.
  std::optional<std::string> releaseDeletions(std::uint64_t id);
  // A run of the job has completed: what was told of it is over.
  void jobCompleted(const std::string& jobName);
  // All questions have their safe answers, also those that are still to come.
  void end();

  // Dialogs of another process, under its ids, are shown here like this one's own: those that are given, and no others
  // any longer. What becomes of a window is told once.
  using Tell = std::function<void(std::uint64_t theirId, const DialogAnswer& answer)>;
  void setTellOther(Tell tell) { tellOther_ = std::move(tell); }
  void showOthers(std::vector<DialogItem> others);

 private:
  struct Question;
  struct Entry {
    DialogItem item;
    std::shared_ptr<Question> question{};   // null: nobody waits here
    std::optional<std::uint64_t> theirs{};  // of another process
  };
  struct Ping;

  void show(DialogItem item, const std::string& text);
  Entry& entryFor(DialogItem item);  // with the lock held
  void placeOther(DialogItem item);  // with the lock held
  std::shared_ptr<Question> put(DialogItem item);
  std::optional<DialogAnswer> answerOf(const std::shared_ptr<Question>& question) const;
  void await(const std::shared_ptr<Question>& question, const std::function<bool()>& mustStop);
  void awaitOnMainThread(const std::shared_ptr<Question>& question);
  [[nodiscard]] bool isOver(const std::shared_ptr<Question>& question) const;
  void drop(const std::shared_ptr<Question>& question);
  void tell();  // the observer, on the main thread

  const Clock& clock_;
  MainLoop loop_;  // its own, so that it is served from within other loops' work, too
  const std::thread::id mainThread_ = std::this_thread::get_id();
  std::function<void()> changed_;
  NestedLoop nestedLoop_;
  Release release_;
  Tell tellOther_;
  std::set<std::uint64_t> settledOthers_;  // may still be told as open for a moment

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable answered_;
  std::vector<Entry> entries_;
  std::uint64_t lastId_ = 0;
  bool hasEnded_ = false;
  bool isToBeTold_ = false;
  std::function<void(const VolumeNotice&)> tellOfVolume_;
};

}  // namespace lumisk
