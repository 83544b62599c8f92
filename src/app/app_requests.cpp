#include "app/dialog_requests.h"
#include "app/instance_requests.h"
#include "app/job_changes.h"
#include "app/quorvel_app_members.h"

#include <algorithm>
#include <set>

// What the application answers to requests that come through the message server.

namespace lumisk {
namespace {

using Dictionary = PropertyList::Dictionary;

constexpr const char* kPaceKey = "SGCopyPace";
constexpr const char* kShowsThemItself = "the running instance shows its dialogs itself";

Dictionary answer(RequestResult result, const std::string& reason = {}) {
  Dictionary dictionary{{kResultKey, static_cast<std::int32_t>(result)}};
  if (!reason.empty()) dictionary[kReasonKey] = reason;
  return dictionary;
}

Dictionary answer(const std::optional<std::string>& problem) {
  return problem ? answer(RequestResult::kRefused, *problem) : answer(RequestResult::kDone);
}

Dictionary answerOf(const tl::expected<std::vector<std::string>, std::string>& stoppedRuns) {
  if (!stoppedRuns) return answer(RequestResult::kRefused, stoppedRuns.error());
  Dictionary given = answer(RequestResult::kDone);
  given[kStoppedRunsKey] = PropertyList::Array(stoppedRuns->begin(), stoppedRuns->end());
  return given;
}

class RequestAnswer {
 public:
  RequestAnswer(QuorvelAppObject& app, QuorvelAppObject::Members& members, const PropertyList& request)
      : app_(app), members_(members), request_(request) {}

  Dictionary give();

 private:
  Dictionary addSources();
  Dictionary newJob();
  Dictionary status();
  Dictionary start();
  Dictionary stop();
  Dictionary pause();
  Dictionary resume();
  Dictionary follow();
  Dictionary followRemoved();
  Dictionary changeJobs();
  Dictionary setPreference();
  Dictionary showWindow();
  Dictionary showVersions();
  Dictionary dialogs();
  Dictionary answerDialog();

  [[nodiscard]] Dictionary statusOf(const std::string& uuid, std::int32_t index);
  [[nodiscard]] RunOptions options();
  [[nodiscard]] std::vector<std::string> selectedPaths() const;
  [[nodiscard]] std::string uuid() const { return request_[kRequestUuidKey].text(); }
  [[nodiscard]] std::int32_t index() { return members_.store.indexOfUuid(uuid()); }
  void addProgress(const std::string& uuid, Dictionary& dictionary);

  QuorvelAppObject& app_;
  QuorvelAppObject::Members& members_;
  const PropertyList& request_;
};

Dictionary RequestAnswer::give() {
  members_.events.drain();  // answers tell all that has happened
  switch (static_cast<RequestAction>(request_[kActionTypeKey].integer32())) {
    case RequestAction::kAddSources:
      return addSources();
    case RequestAction::kNewJob:
      return newJob();
    case RequestAction::kStatus:
      return status();
    case RequestAction::kStart:
      return start();
    case RequestAction::kStop:
      return stop();
    case RequestAction::kPause:
      return pause();
    case RequestAction::kResume:
      return resume();
    case RequestAction::kFollow:
      return follow();
    case RequestAction::kChangeJobs:
      return changeJobs();
    case RequestAction::kReload:
      return app_.reload() ? answer(RequestResult::kDone)
                           : answer(RequestResult::kRefused, members_.store.lastError().text());
    case RequestAction::kSetPreference:
      return setPreference();
    case RequestAction::kShowWindow:
      return showWindow();
    case RequestAction::kShowVersions:
      return showVersions();
    case RequestAction::kDialogs:
      return dialogs();
    case RequestAction::kAnswerDialog:
      return answerDialog();
  }
  return answer(RequestResult::kNotUnderstood);
}

// From file managers.

std::vector<std::string> RequestAnswer::selectedPaths() const {
  std::vector<std::string> paths;
  for (const PropertyList& path : request_[kSelectedArrayKey].array()) paths.push_back(path.text());
  return paths;
}

Dictionary RequestAnswer::addSources() {
  const std::int32_t count = members_.store.count();
  if (count == 0) return answer(RequestResult::kRefused, "there is no job to add them to");
  if (members_.addToJob) {
    members_.addToJob(selectedPaths());
    return answer(RequestResult::kDone);
  }
  if (count == 1) return answer(members_.addSources(0, selectedPaths()));
  return answer(RequestResult::kRefused, "there are several jobs; `lumisk job edit` changes the sources of one");
}

Dictionary RequestAnswer::newJob() {
  if (!members_.makeJob) {
    return answer(RequestResult::kRefused, "a job needs a target, too; `lumisk job add` takes both");
  }
  members_.makeJob(selectedPaths());
  return answer(RequestResult::kDone);
}

// Of jobs.

void RequestAnswer::addProgress(const std::string& uuid, Dictionary& dictionary) {
  if (const auto message = app_.progressOf(uuid)) dictionary[kProgressKey] = dictionaryOf(*message);
}

Dictionary RequestAnswer::statusOf(const std::string& uuid, std::int32_t index) {
  auto* const scheduler = members_.m_controlObject.object(index);
  Dictionary status{{kRequestUuidKey, uuid},
                    {kRunningKey, app_.jobIsBusyAtIndex(index)},
                    {kPausedKey, app_.jobIsPausedAtIndex(index)},
                    {kSchedulerKey, scheduler != nullptr && scheduler->isStarted()}};
  if (scheduler) {
    const WatchedCounts folders = scheduler->watchedCounts();
    status[kEndedRunsKey] = scheduler->endedRuns().number;
    status[kWatchedFoldersKey] = folders.watched;
    status[kRescannedFoldersKey] = folders.rescanned;
  }
  addProgress(uuid, status);
  return status;
}

Dictionary RequestAnswer::status() {
  PropertyList::Array jobs;
  for (const PropertyList& job : members_.store.jobs()) {
    jobs.push_back(statusOf(job[kUuidStringKey].text(), static_cast<std::int32_t>(jobs.size())));
  }
  Dictionary given = answer(RequestResult::kDone);
  given[kJobsKey] = std::move(jobs);
  return given;
}

// Without options as its schedule would run it.
RunOptions RequestAnswer::options() {
  if (!request_[kRequestOptionsKey].isNone()) return runOptionsOf(request_[kRequestOptionsKey]);
  RunOptions options;
  if (members_.store.preference(kPaceKey).text() == "full") options.pace = PaceKind::kFull;
  return options;
}

Dictionary RequestAnswer::start() {
  const std::int32_t job = index();
  if (job < 0) return answer(RequestResult::kNoSuchJob);
  if (!members_.store.job(job)[kActiveKey].boolean()) return answer(RequestResult::kRefused, "the job is disabled");
  auto* const scheduler = members_.m_controlObject.object(job);
  if (!scheduler || !scheduler->isStarted()) return answer(RequestResult::kRefused, "nothing runs this job");
  const auto endedRuns = scheduler->requestRun(options());
  Dictionary given = answer(endedRuns ? RequestResult::kDone : RequestResult::kBusy);
  given[kEndedRunsKey] = endedRuns ? *endedRuns : scheduler->endedRuns().number;
  return given;
}

Dictionary RequestAnswer::stop() {
  const std::int32_t job = index();
  if (job < 0) return answer(RequestResult::kNoSuchJob);
  Dictionary given = answer(RequestResult::kDone);
  given[kRunningKey] = app_.stopJobAtIndex(job);
  return given;
}

Dictionary RequestAnswer::pause() {
  const std::int32_t job = index();
  if (job < 0) return answer(RequestResult::kNoSuchJob);
  switch (app_.pauseJobAtIndex(job)) {
    case PauseAnswer::kNotRunning:
      return answer(RequestResult::kRefused, kNotRunningReason);
    case PauseAnswer::kCannotBePaused:
      return answer(RequestResult::kRefused, kCloneIsNotPausedReason);
    case PauseAnswer::kDone:
      break;
  }
  return answer(RequestResult::kDone);
}

Dictionary RequestAnswer::resume() {
  const std::int32_t job = index();
  if (job < 0) return answer(RequestResult::kNoSuchJob);
  return app_.resumeJobAtIndex(job) ? answer(RequestResult::kDone) : answer(RequestResult::kRefused, kNotPausedReason);
}

// The number is another one also when the job has been made anew meanwhile; then nothing is told of its run.
Dictionary RequestAnswer::follow() {
  auto* const scheduler = members_.m_controlObject.object(index());
  if (!scheduler) return followRemoved();
  const auto ended = scheduler->endedRuns();
  const bool hasEnded = ended.number != request_[kEndedRunsKey].unsignedInteger();
  Dictionary given = answer(RequestResult::kDone);
  given[kEndedKey] = hasEnded;
  if (hasEnded) {
    given[kReportKey] = dictionaryOf(ended.last);
  } else {
    given[kPausedKey] = app_.jobIsPausedAtIndex(index());
    addProgress(uuid(), given);
  }
  return given;
}

// Whoever has asked for a clone that is made once learns how it ended although its job has gone.
Dictionary RequestAnswer::followRemoved() {
  const auto removed = members_.removedClones.find(uuid());
  if (removed == members_.removedClones.end()) return answer(RequestResult::kNoSuchJob);
  Dictionary given = answer(RequestResult::kDone);
  given[kEndedKey] = true;
  given[kReportKey] = dictionaryOf(removed->second);
  return given;
}

Dictionary RequestAnswer::changeJobs() {
  const auto before = members_.store.jobs();
  auto after = before;
  switch (mergeJobChanges(request_[kRequestChangesKey].array(), after)) {
    case MergeVerdict::kMerged:
      return answerOf(members_.storeJobs(before, std::move(after)));
    case MergeVerdict::kConflict:
      return answer(RequestResult::kConflict, "somebody else has just changed the same");
    case MergeVerdict::kNotUnderstood:
      break;
  }
  return answer(RequestResult::kNotUnderstood);
}

// Of the application.

Dictionary RequestAnswer::setPreference() {
  const std::string key = request_[kPreferenceKeyKey].text();
  if (key.empty() || request_[kPreferenceValueKey].isNone()) return answer(RequestResult::kNotUnderstood);
  const auto stored = members_.services.defaults.change(
      [&](Dictionary& values) { values[kPreferencesKey].mutableDictionary()[key] = request_[kPreferenceValueKey]; });
  return stored ? answer(RequestResult::kDone) : answer(RequestResult::kRefused, stored.error().text());
}

Dictionary RequestAnswer::showWindow() {
  if (!members_.showWindow) return answer(RequestResult::kRefused, "the running instance has no windows");
  members_.showWindow();
  return answer(RequestResult::kDone);
}

Dictionary RequestAnswer::showVersions() {
  if (!members_.showVersions) return answer(RequestResult::kRefused, "the running instance has no windows");
  members_.showVersions(selectedPaths());
  return answer(RequestResult::kDone);
}

// What was told of a job that has gone is told no longer.
Dictionary RequestAnswer::dialogs() {
  LentDialogs* const lent = members_.services.lentDialogs;
  if (!lent) return answer(RequestResult::kRefused, kShowsThemItself);
  std::set<std::string> names{""};
  for (const PropertyList& job : members_.store.jobs()) names.insert(job[kObjectNameKey].text());
  auto items = lent->lookOfWindow();
  const auto gone = std::stable_partition(items.begin(), items.end(),
                                          [&](const DialogItem& item) { return names.contains(item.job); });
  std::for_each(gone, items.end(), [&](const DialogItem& item) { lent->desk().close(item.id); });
  items.erase(gone, items.end());
  Dictionary given = answer(RequestResult::kDone);
  given[kDialogsKey] = arrayOf(items);
  return given;
}

Dictionary RequestAnswer::answerDialog() {
  LentDialogs* const lent = members_.services.lentDialogs;
  if (!lent) return answer(RequestResult::kRefused, kShowsThemItself);
  const auto given = dialogAnswerOf(request_[kDialogAnswerKey]);
  if (!given) return answer(RequestResult::kNotUnderstood);
  const bool stood = lent->desk().close(request_[kDialogKey].unsignedInteger(), *given);
  return stood ? answer(RequestResult::kDone) : answer(RequestResult::kRefused, "it has been answered before");
}

}  // namespace

PropertyList::Dictionary answerRequest(QuorvelAppObject& app, QuorvelAppObject::Members& members,
                                       const PropertyList::Dictionary& request) {
  const PropertyList whole(request);
  return RequestAnswer(app, members, whole).give();
}

}  // namespace lumisk
