#include "presenters/instance_jobs_board.h"

#include "finder/do_client.h"
#include "jobs/job_store.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenQuestions = 1s;
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
    BoardRun run{job[kRequestUuidKey].text(), {}};
    if (!job[kProgressKey].isNone()) run.progress = progressMessageOf(job[kProgressKey]);
    runs.push_back(std::move(run));
  }
  return runs;
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

InstanceJobsBoard::InstanceJobsBoard(MainLoop& loop, const Clock& clock, std::function<void()> lost, Wait wait)
    : RequestBoard(clock),
      loop_(loop),
      lost_(std::move(lost)),
      wait_(std::move(wait)),
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
}

// On its thread.
void InstanceJobsBoard::askAgainAndAgain() {
  PropertyList lastJobs;
  for (bool isThere = true; isThere && rest();) {
    Answer answer = askOnce(lastJobs);
    isThere = answer.isThere;
    loop_.perform([self = self_, answer = std::move(answer)] {
      if (*self) (*self)->take(answer);
    });
  }
}

// A connection for each question: what lies idle keeps others waiting.
InstanceJobsBoard::Answer InstanceJobsBoard::askOnce(PropertyList& lastJobs) {
  doClient client;
  if (!client.connect()) return {};
  const auto given = client.request(requestOf(RequestAction::kStatus), kPatience);
  if (!given) return {};
  Answer answer{true, runsOf(*given), false};
  if (auto jobs = defaults_.object(kJobArrayKey); jobs && *jobs != lastJobs) {
    answer.hasNewJobs = true;
    lastJobs = std::move(*jobs);
  }
  return answer;
}

bool InstanceJobsBoard::rest() {
  std::unique_lock lock(mutex_);
  return !ending_.wait_for(lock, kBetweenQuestions, [this] { return isEnding_; });
}

// On the main thread.
void InstanceJobsBoard::take(const Answer& answer) {
  const bool runs = !runs_.empty() || !answer.runs.empty();
  runs_ = answer.runs;
  if (answer.hasNewJobs) tell(BoardChange::kJobs);
  if (runs && !answer.hasNewJobs) tell(BoardChange::kProgress);
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
  if (answer) tell(BoardChange::kJobs);
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
