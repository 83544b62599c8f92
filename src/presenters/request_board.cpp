#include "presenters/request_board.h"

#include <algorithm>
#include <map>

#include "app/job_changes.h"
#include "jobs/job_checks.h"
#include "jobs/job_store.h"
#include "platform/byte_text.h"
#include "platform/translation.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

// Here to be found by those who collect what is to be translated. What is not among them is shown as it comes.
[[maybe_unused]] constexpr const char* kReasonsOfOthers[] = {markedText("the job does not run"),
                                                             markedText("a clone cannot be paused, only stopped"),
                                                             markedText("the job is not paused")};

std::string reasonOf(RequestResult result) {
  switch (result) {
    case RequestResult::kNoSuchJob:
      return translated("The job is gone.");
    case RequestResult::kBusy:
      return translated("The job runs already.");
    case RequestResult::kConflict:
      return translated("Somebody else has just changed the same. Look at it again.");
    case RequestResult::kNotUnderstood:
      return translated("The running Lumisk does not understand this. Is it of another version?");
    case RequestResult::kDone:
    case RequestResult::kRefused:
      break;
  }
  return translated("The running Lumisk refused this.");
}

// Jobs to try a change on, written nowhere.
class TrialJobs {
 public:
  TrialJobs(Array jobs, const Clock& clock)
      : values_(UserDefaults::inMemory({{kStoreNameKey, "Qel Lumisk"}, {kJobArrayKey, std::move(jobs)}})),
        store_(values_, clock) {
    store_.initializePreferenceInfo();
    store_.reloadPreferenceInfo();
  }
  JobStore& store() { return store_; }

 private:
  UserDefaults values_;
  JobStore store_;
};

Array::iterator jobWith(Array& jobs, const std::string& uuid) {
  return std::find_if(jobs.begin(), jobs.end(),
                      [&](const PropertyList& job) { return job[kUuidStringKey].text() == uuid; });
}

std::string textOf(const JobProblem& problem) {
  return displayText(problem.subject) + ": " + problem.reason;
}

}  // namespace

std::vector<BoardJob> RequestBoard::jobs() {
  std::map<std::string, BoardRun> runs;
  for (BoardRun& run : running()) runs.emplace(run.uuid, std::move(run));
  std::vector<BoardJob> jobs;
  for (PropertyList& stored : storedJobs()) {
    BoardJob job{stored[kUuidStringKey].text(), std::move(stored)};
    if (const auto run = runs.find(job.uuid); run != runs.end()) {
      job.running = true;
      job.progress = run->second.progress;
      job.paused = run->second.paused;
    }
    jobs.push_back(std::move(job));
  }
  return jobs;
}

JobsBoard::Refusal RequestBoard::request(RequestAction action, Dictionary request) {
  const auto given = ask(action, std::move(request));
  if (!given) return translated("The running Lumisk does not answer.");
  const PropertyList answer(*given);
  if (answer[kResultKey].isNone()) return reasonOf(RequestResult::kNotUnderstood);
  const auto result = static_cast<RequestResult>(answer[kResultKey].integer32());
  if (result == RequestResult::kDone) return std::nullopt;
  const std::string reason = answer[kReasonKey].text();
  return reason.empty() || result != RequestResult::kRefused ? reasonOf(result)
                                                             : displayText(translated(reason.c_str()));
}

JobsBoard::Refusal RequestBoard::change(const Array& before, const Array& after) {
  Array changes = jobChanges(before, after);
  if (changes.empty()) return std::nullopt;
  return request(RequestAction::kChangeJobs, {{kRequestChangesKey, std::move(changes)}});
}

JobsBoard::Refusal RequestBoard::start(const std::string& uuid) {
  return request(RequestAction::kStart, {{kRequestUuidKey, uuid}});
}

JobsBoard::Refusal RequestBoard::startAllowingDeletions(const std::string& uuid) {
  RunOptions options;
  options.allowDeletions = true;
  return request(RequestAction::kStart, {{kRequestUuidKey, uuid}, {kRequestOptionsKey, dictionaryOf(options)}});
}

JobsBoard::Refusal RequestBoard::stop(const std::string& uuid) {
  return request(RequestAction::kStop, {{kRequestUuidKey, uuid}});
}

JobsBoard::Refusal RequestBoard::pause(const std::string& uuid) {
  return request(RequestAction::kPause, {{kRequestUuidKey, uuid}});
}

JobsBoard::Refusal RequestBoard::resume(const std::string& uuid) {
  return request(RequestAction::kResume, {{kRequestUuidKey, uuid}});
}

// Disabled by hand also means that the job is not enabled again when its disk image appears.
JobsBoard::Refusal RequestBoard::setActive(const std::string& uuid, bool active) {
  const Array before = storedJobs();
  Array after = before;
  const auto job = jobWith(after, uuid);
  if (job == after.end()) return reasonOf(RequestResult::kNoSuchJob);
  job->mutableDictionary()[kActiveKey] = active;
  job->mutableDictionary()[kManullyDisableKey] = !active;
  return change(before, after);
}

JobsBoard::Refusal RequestBoard::remove(const std::string& uuid) {
  const Array before = storedJobs();
  Array after = before;
  const auto job = jobWith(after, uuid);
  if (job == after.end()) return reasonOf(RequestResult::kNoSuchJob);
  after.erase(job);
  return change(before, after);
}

JobsBoard::Refusal RequestBoard::add(const QUORVELPREFERENCEINFO& job) {
  if (const auto problem = checkJobName(job.name)) return textOf(*problem);
  const Array before = storedJobs();
  TrialJobs trial(before, clock_);
  JobStore& store = trial.store();
  if (store.checkJobNameIsExist(job.name, JobStore::Editing::kNewJob)) {
    return translated("There is a job of this name already.");
  }
  store.m_currentInfo = job;
  if (!store.addPreferenceInfo(-1)) return displayText(store.lastError().text());
  return change(before, store.jobs());
}

// The change is worked out on the job as the user saw it: what others have changed since stays, or is a conflict.
JobsBoard::Refusal RequestBoard::edit(const PropertyList& before, const QUORVELPREFERENCEINFO& after) {
  const Array seen{before};
  TrialJobs trial(seen, clock_);
  JobStore& store = trial.store();
  if (!store.fetchPreferenceInfo(0, JobStore::Locking::kTake)) return translated("The stored job cannot be read.");
  store.m_currentInfo = after;
  if (!store.storePreferenceInfo(0)) return displayText(store.lastError().text());
  return change(seen, store.jobs());
}

JobsBoard::Refusal RequestBoard::setPreference(const std::string& key, const PropertyList& value) {
  auto refusal = request(RequestAction::kSetPreference, {{kPreferenceKeyKey, key}, {kPreferenceValueKey, value}});
  if (!refusal) tell(BoardChange::kPreferences);
  return refusal;
}

}  // namespace lumisk
