#include "app/dialog_desk.h"

#include <algorithm>

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenLooks = 50ms;   // of a thread that waits: whether its run is to end
constexpr auto kBetweenPings = 1s;     // of the main thread
constexpr auto kLongestSilence = 10s;  // then it is taken to wait for the thread that asks
constexpr std::size_t kMostTexts = 6;  // in one window

void note(std::vector<ToldText>& texts, const std::string& text, WallTime now) {
  const auto same = std::find_if(texts.begin(), texts.end(), [&](const ToldText& told) { return told.text == text; });
  ToldText told{text, now, 1};
  if (same != texts.end()) {
    told.times = same->times + 1;
    texts.erase(same);
  }
  texts.push_back(std::move(told));
  if (texts.size() > kMostTexts) texts.erase(texts.begin());
}

}  // namespace

struct DialogDesk::Question {
  bool isOver = false;
  std::optional<DialogAnswer> answer{};  // none: nobody waited any more
};

// Whether the main thread serves its loop. Belongs to the thread that waits; only `hasCome` is shared.
struct DialogDesk::Ping {
  explicit Ping(const Clock& clock) : clock_(clock) {}

  // Asks again once in a while; false when no answer has come for long.
  bool isServed(MainLoop& loop) {
    const auto now = clock_.steadyNow();
    if (!isUnderWay_ || (*hasCome_ && now - sent_ >= kBetweenPings)) {
      isUnderWay_ = true;
      *hasCome_ = false;
      sent_ = now;
      loop.perform([hasCome = hasCome_] { *hasCome = true; });
    }
    return *hasCome_ || now - sent_ < kLongestSilence;
  }

 private:
  const Clock& clock_;
  std::shared_ptr<std::atomic<bool>> hasCome_ = std::make_shared<std::atomic<bool>>(false);
  std::chrono::steady_clock::time_point sent_;
  bool isUnderWay_ = false;
};

DialogDesk::DialogDesk(const Clock& clock) : clock_(clock) {
  setNestedLoop({});
}

void DialogDesk::setNestedLoop(NestedLoop loop) {
  nestedLoop_ = std::move(loop);
  if (!nestedLoop_) nestedLoop_ = [this](const std::function<bool()>& isOver) { loop_.serveUntil(isOver); };
}

DialogDesk::~DialogDesk() {
  end();
}

// What is shown.

void DialogDesk::showAlert(const std::string& title, const std::string& message) {
  show({.kind = DialogKind::kAlert, .title = title}, message);
}

void DialogDesk::showMessage(const std::string& jobName, const std::string& title, const std::string& message) {
  show({.kind = DialogKind::kMessage, .job = jobName, .title = title}, message);
}

void DialogDesk::showPathProblem(const PathProblem& problem) {
  show({.kind = DialogKind::kPathProblem, .job = problem.jobName, .path = problem.path}, problem.message);
}

void DialogDesk::showFinish(const FinishDialog& dialog) {
  show({.kind = DialogKind::kFinish, .job = dialog.title, .title = dialog.title, .upperText = dialog.upperMessage},
       dialog.message);
}

void DialogDesk::showHeldDeletions(const HeldDeletions& held) {
  show({.kind = DialogKind::kHeldDeletions, .job = held.jobName, .held = held}, {});
}

void DialogDesk::showVolumeNotice(const VolumeNotice& notice) {
  std::function<void(const VolumeNotice&)> told;
  {
    const std::lock_guard guard(mutex_);
    told = tellOfVolume_;
  }
  if (!told || !notice.isSafeToRemove) return showMessage(notice.jobName, {}, notice.text);
  loop_.perform([told, notice] { told(notice); });
}

void DialogDesk::setVolumeNotices(std::function<void(const VolumeNotice&)> tell) {
  const std::lock_guard guard(mutex_);
  tellOfVolume_ = std::move(tell);
}

void DialogDesk::show(DialogItem item, const std::string& text) {
  {
    const std::lock_guard guard(mutex_);
    Entry& entry = entryFor(std::move(item));
    if (!text.empty()) note(entry.item.texts, text, clock_.now());
  }
  tell();
}

// The one that stands there is brought up to date. Questions are never merged: each has somebody waiting for it.
DialogDesk::Entry& DialogDesk::entryFor(DialogItem item) {
  const auto same = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    const bool isSameAlert = item.kind != DialogKind::kAlert || entry.item.title == item.title;
    const bool isKept = isQuestion(item.kind) || entry.theirs;
    return !isKept && entry.item.kind == item.kind && entry.item.job == item.job && isSameAlert;
  });
  const bool isKnown = same != entries_.end();
  item.id = isKnown ? same->item.id : ++lastId_;
  if (isKnown) item.texts = std::move(same->item.texts);
  Entry& entry = isKnown ? *same : entries_.emplace_back();
  entry.item = std::move(item);
  return entry;
}

std::vector<DialogItem> DialogDesk::items() const {
  const std::lock_guard guard(mutex_);
  std::vector<DialogItem> items;
  for (const Entry& entry : entries_) items.push_back(entry.item);
  return items;
}

// What is asked.

std::optional<DialogAnswer> DialogDesk::askWindow(DialogItem question, const std::function<bool()>& mustStop) {
  const auto asked = put(std::move(question));
  isMainThread() ? awaitOnMainThread(asked) : await(asked, mustStop);
  return answerOf(asked);
}

ConflictAnswer DialogDesk::askConflict(const ConflictQuestion& question) {
  const auto answer =
      askWindow({.kind = DialogKind::kConflict, .job = question.jobName, .conflict = question}, question.mustStop);
  return answer.value_or(DialogAnswer{}).conflict;
}

bool DialogDesk::ask(const std::string& title, const std::string& message, const std::string& accept,
                     const std::string& refuse) {
  DialogItem item{.kind = DialogKind::kQuestion, .title = title, .accept = accept, .refuse = refuse};
  item.texts = {{message, clock_.now(), 1}};
  item.isWaitedFor = isMainThread();
  return askWindow(std::move(item), {}).value_or(DialogAnswer{}).isAccepted;
}

std::shared_ptr<DialogDesk::Question> DialogDesk::put(DialogItem item) {
  auto question = std::make_shared<Question>();
  {
    const std::lock_guard guard(mutex_);
    if (hasEnded_) {
      question->isOver = true;
      return question;
    }
    entryFor(std::move(item)).question = question;
  }
  tell();
  return question;
}

void DialogDesk::await(const std::shared_ptr<Question>& question, const std::function<bool()>& mustStop) {
  Ping ping(clock_);
  while (!isOver(question)) {
    if ((mustStop && mustStop()) || !ping.isServed(loop_)) return drop(question);
    std::unique_lock lock(mutex_);
    answered_.wait_for(lock, kBetweenLooks, [&] { return question->isOver; });
  }
}

void DialogDesk::awaitOnMainThread(const std::shared_ptr<Question>& question) {
  nestedLoop_([&] { return isOver(question); });
  drop(question);  // of a loop that ended early
}

bool DialogDesk::isOver(const std::shared_ptr<Question>& question) const {
  const std::lock_guard guard(mutex_);
  return question->isOver;
}

std::optional<DialogAnswer> DialogDesk::answerOf(const std::shared_ptr<Question>& question) const {
  const std::lock_guard guard(mutex_);
  return question->answer;
}

// Nobody waits any more.
void DialogDesk::drop(const std::shared_ptr<Question>& question) {
  {
    const std::lock_guard guard(mutex_);
    question->isOver = true;
    if (std::erase_if(entries_, [&](const Entry& entry) { return entry.question == question; }) == 0) return;
  }
  tell();
}

// Answers.

bool DialogDesk::close(std::uint64_t id, const DialogAnswer& answer) {
  std::optional<std::uint64_t> theirs;
  {
    const std::lock_guard guard(mutex_);
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.item.id == id; });
    if (found == entries_.end()) return false;
    if (found->question) *found->question = {true, answer};
    theirs = found->theirs;
    entries_.erase(found);
    answered_.notify_all();
  }
  if (theirs) {
    settledOthers_.insert(*theirs);
    if (tellOther_) tellOther_(*theirs, answer);
  }
  tell();
  return true;
}

std::optional<std::string> DialogDesk::releaseDeletions(std::uint64_t id) {
  const auto all = items();
  const auto found = std::find_if(all.begin(), all.end(), [&](const DialogItem& item) { return item.id == id; });
  if (found == all.end() || !release_) return std::nullopt;
  auto refusal = release_(found->held);
  if (!refusal) close(id);
  return refusal;
}

void DialogDesk::jobCompleted(const std::string& jobName) {
  {
    const std::lock_guard guard(mutex_);
    const auto over = std::erase_if(entries_, [&](const Entry& entry) {
      const DialogKind kind = entry.item.kind;
      const bool isTrouble = kind == DialogKind::kPathProblem || kind == DialogKind::kHeldDeletions;
      return isTrouble && entry.item.job == jobName;
    });
    if (over == 0) return;
  }
  tell();
}

void DialogDesk::end() {
  const std::lock_guard guard(mutex_);
  hasEnded_ = true;
  for (Entry& entry : entries_)
    if (entry.question) entry.question->isOver = true;
  entries_.clear();
  answered_.notify_all();
}

// Of another process.

void DialogDesk::showOthers(std::vector<DialogItem> others) {
  const auto isGiven = [&](std::uint64_t id) {
    return std::any_of(others.begin(), others.end(), [&](const DialogItem& item) { return item.id == id; });
  };
  std::erase_if(settledOthers_, [&](std::uint64_t id) { return !isGiven(id); });
  std::erase_if(others, [&](const DialogItem& item) { return settledOthers_.contains(item.id); });
  {
    const std::lock_guard guard(mutex_);
    if (hasEnded_) return;
    std::erase_if(entries_, [&](const Entry& entry) { return entry.theirs && !isGiven(*entry.theirs); });
    for (DialogItem& item : others) placeOther(std::move(item));
  }
  tell();
}

void DialogDesk::placeOther(DialogItem item) {
  const std::uint64_t theirs = item.id;
  const auto same =
      std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.theirs == theirs; });
  item.id = same != entries_.end() ? same->item.id : ++lastId_;
  if (same == entries_.end()) {
    entries_.push_back({std::move(item), {}, theirs});
  } else {
    same->item = std::move(item);
  }
}

// One message to the main thread for any number of changes.
void DialogDesk::tell() {
  if (isMainThread()) {
    if (changed_) changed_();
    return;
  }
  {
    const std::lock_guard guard(mutex_);
    if (hasEnded_ || std::exchange(isToBeTold_, true)) return;
  }
  loop_.perform([this] {
    {
      const std::lock_guard guard(mutex_);
      isToBeTold_ = false;
    }
    if (changed_) changed_();
  });
}

}  // namespace lumisk
