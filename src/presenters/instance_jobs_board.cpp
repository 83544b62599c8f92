#include "presenters/instance_jobs_board.h"

#include "app/dialog_requests.h"
#include "finder/do_client.h"
#include "jobs/job_store.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 10s;
// A change is answered when the runs that it stops have ended; bringing their data to a slow disk takes its time.
constexpr auto kChangePatience = 30min;

PropertyList::Dictionary requestOf(RequestAction action, PropertyList::Dictionary request = {}) {
  request[kActionTypeKey] = static_cast<std::int32_t>(action);
  return request;
}

std::vector<BoardRun> runsOf(const PropertyList& answer) {
  std::vector<BoardRun> runs;
  for (const PropertyList& job : answer[kJobsKey].array()) {
    if (!job[kRunningKey].boolean()) continue;
    BoardRun run{.uuid = job[kRequestUuidKey].text(), .paused = job[kPausedKey].boolean()};
    if (!job[kProgressKey].isNone()) run.progress = progressMessageOf(job[kProgressKey]);
    runs.push_back(std::move(run));
  }
  return runs;
}

std::vector<DialogItem> dialogsOf(const PropertyList& answer) {
  std::vector<DialogItem> items;
  for (const PropertyList& dialog : answer.array()) {
    if (auto item = dialogItemOf(dialog)) items.push_back(std::move(*item));
  }
  return items;
}

}  // namespace

OtherInstance askOtherInstance(const std::string& pathToRestore) {
  doClient client;
  if (!client.connect()) return OtherInstance::kNone;
  const auto request = pathToRestore.empty() ? requestOf(RequestAction::kShowWindow)
                                             : requestOf(RequestAction::kShowVersions,
                                                         {{kSelectedArrayKey, PropertyList::Array{pathToRestore}}});
  const auto answer = client.request(request, kPatience);
  if (!answer) return OtherInstance::kNone;
  const auto result = PropertyList(*answer)[kResultKey];
  const bool isShown = !result.isNone() && static_cast<RequestResult>(result.integer32()) == RequestResult::kDone;
  return isShown ? OtherInstance::kShowsItsWindow : OtherInstance::kWithoutWindows;
}

InstanceJobsBoard::InstanceJobsBoard(MainLoop& loop, const Clock& clock, std::function<void()> lost, Wait wait,
                                     std::chrono::milliseconds betweenQuestions)
    : RequestBoard(clock),
      loop_(loop),
      lost_(std::move(lost)),
      wait_(std::move(wait)),
      betweenQuestions_(betweenQuestions),
      self_(std::make_shared<InstanceJobsBoard*>(this)) {
  thread_ = std::thread([this] { askAgainAndAgain(); });
}

InstanceJobsBoard::~InstanceJobsBoard() {
  {
    const std::lock_guard guard(mutex_);
    isEnding_ = true;
  }
  ending_.notify_all();
  thread_.join();
  *self_ = nullptr;
  if (desk_) desk_->setTellOther({});
}

// An answer goes on the thread that asks, before its next question, so that no window waits for the instance.
void InstanceJobsBoard::showDialogsOn(DialogDesk& desk) {
  desk_ = &desk;
  desk.setTellOther([this](std::uint64_t id, const DialogAnswer& answer) {
    const std::lock_guard guard(mutex_);
    answers_.push_back({{kDialogKey, id}, {kDialogAnswerKey, dictionaryOf(answer)}});
    ending_.notify_all();
  });
  showsDialogs_ = true;
}

// On its thread.
void InstanceJobsBoard::askAgainAndAgain() {
  Known known;
  for (bool isThere = true; isThere && rest();) {
    sendAnswers();
    Answer answer = askOnce(known);
    isThere = answer.isThere;
    loop_.perform([self = self_, answer = std::move(answer)] {
      if (*self) (*self)->take(answer);
    });
  }
}

// A connection for each question: what lies idle keeps others waiting.
InstanceJobsBoard::Answer InstanceJobsBoard::askOnce(Known& known) {
  doClient client;
  if (!client.connect()) return {};
  const auto given = client.request(requestOf(RequestAction::kStatus), kPatience);
  if (!given) return {};
  Answer answer{true, runsOf(*given), false};
  if (auto jobs = defaults_.object(kJobArrayKey); jobs && *jobs != known.jobs) {
    answer.hasNewJobs = true;
    known.jobs = std::move(*jobs);
  }
  if (!showsDialogs_) return answer;
  const auto shown = client.request(requestOf(RequestAction::kDialogs), kPatience);
  const PropertyList dialogs = shown ? PropertyList(*shown)[kDialogsKey] : known.dialogs;
  if (dialogs != known.dialogs) answer.newDialogs = dialogsOf(dialogs);
  known.dialogs = dialogs;
  return answer;
}

// One that does not arrive is as good as none: the instance has ended, or asks again.
void InstanceJobsBoard::sendAnswers() {
  std::vector<PropertyList::Dictionary> answers;
  {
    const std::lock_guard guard(mutex_);
    answers = std::exchange(answers_, {});
  }
  for (PropertyList::Dictionary& answer : answers) {
    doClient client;
    if (client.connect()) (void)client.request(requestOf(RequestAction::kAnswerDialog, std::move(answer)), kPatience);
  }
}

bool InstanceJobsBoard::rest() {
  std::unique_lock lock(mutex_);
  ending_.wait_for(lock, betweenQuestions_, [this] { return isEnding_ || asksSoon_ || !answers_.empty(); });
  asksSoon_ = false;
  return !isEnding_;
}

// On the main thread.
void InstanceJobsBoard::take(const Answer& answer) {
  const bool runs = !runs_.empty() || !answer.runs.empty();
  runs_ = answer.runs;
  if (answer.hasNewJobs) tell(BoardChange::kJobs);
  if (runs && !answer.hasNewJobs) tell(BoardChange::kProgress);
  if (answer.newDialogs && desk_) desk_->showOthers(*answer.newDialogs);
  if (!answer.isThere) lost_();
}

Result<PropertyList::Dictionary> InstanceJobsBoard::ask(RequestAction action, PropertyList::Dictionary request) {
  Result<PropertyList::Dictionary> answer = fail("ask the running instance", {}, 0);
  wait_([&] {
    doClient client;
    const auto connected = client.connect();
    answer = connected ? client.request(requestOf(action, std::move(request)),
                                        action == RequestAction::kChangeJobs ? kChangePatience : kPatience)
                       : Result<PropertyList::Dictionary>(fail(connected.error()));
  });
  if (!answer) return answer;
  {
    const std::lock_guard guard(mutex_);
    asksSoon_ = true;
  }
  ending_.notify_all();
  tell(BoardChange::kJobs);
  return answer;
}

PropertyList::Array InstanceJobsBoard::storedJobs() {
  const auto jobs = defaults_.object(kJobArrayKey);
  return jobs ? jobs->array() : PropertyList::Array();
}

PropertyList InstanceJobsBoard::preference(const std::string& key) {
  const auto preferences = defaults_.object(kPreferencesKey);
  return preferences ? (*preferences)[key] : PropertyList();
}

}  // namespace lumisk
