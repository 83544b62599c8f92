#include <algorithm>
#include <optional>

#include "app/job_list_check.h"
#include "app/quorvel_app_members.h"
#include "app/target_matching.h"
#include "engine/file_list.h"
#include "jobs/job_checks.h"
#include "platform/paths.h"

// What the application does to jobs.

namespace lumisk {
namespace {

constexpr const char* kDeleteText = "Do you really want to delete this job?";
constexpr const char* kNoListText =
    "The stored settings hold no list of jobs. The jobs were stored again as they were.";
constexpr const char* kCloneDoneText = "Backup has been completed.";

bool isStoredAsRunning(const PropertyList& job) {
  return static_cast<JobStatus>(job[kJobStatusKey].integer32()) == JobStatus::kRunning;
}

std::string textOf(const JobProblem& problem) {
  return problem.subject + ": " + problem.reason;
}

}  // namespace

// Starting and stopping.

bool QuorvelAppObject::startNowButtonActionWithJobIndex(std::int32_t index) {
  Members& m = *members_;
  if (stopJobAtIndex(index)) return true;
  auto* const scheduler = m.m_controlObject.object(index);
  if (!scheduler || !scheduler->isStarted()) return false;
  m.m_controlObject.setImmediateEvent(index);
  return true;
}

bool QuorvelAppObject::stopJobAtIndex(std::int32_t index) {
  auto* const scheduler = members_->m_controlObject.object(index);
  if (!scheduler) return false;
  members_->arrivals.erase(scheduler->jobUuid());
  if (scheduler->cancelRequestedRun()) return true;
  const bool isBusy = jobIsBusyAtIndex(index);
  if (isBusy) members_->cancelRun(index);
  return isBusy;
}

PauseAnswer QuorvelAppObject::pauseJobAtIndex(std::int32_t index) {
  auto* const scheduler = members_->m_controlObject.object(index);
  const PauseAnswer answer = scheduler ? scheduler->pauseRun() : PauseAnswer::kNotRunning;
  if (answer == PauseAnswer::kDone) members_->progressed();
  return answer;
}

bool QuorvelAppObject::resumeJobAtIndex(std::int32_t index) {
  auto* const scheduler = members_->m_controlObject.object(index);
  const bool wasPaused = scheduler && scheduler->resumeRun();
  if (wasPaused) members_->progressed();
  return wasPaused;
}

bool QuorvelAppObject::jobIsPausedAtIndex(std::int32_t index) {
  auto* const scheduler = members_->m_controlObject.object(index);
  return scheduler && scheduler->isNowCopyingFile() && scheduler->isPaused();
}

bool QuorvelAppObject::jobIsBusyAtIndex(std::int32_t index) {
  return members_->m_controlObject.isBusy(index);
}

void QuorvelAppObject::Members::cancelRun(std::int32_t index) {
  NotificationCenter& center = services.schedule.worker.notifications;
  const PropertyList::Dictionary userInfo{{kJobIndexKey, index}, {kJobUuidKey, store.job(index)[kUuidStringKey]}};
  center.post({kCancelNotification, index, userInfo});
  center.post({kUserCancelNotification, index, userInfo});
}

std::vector<std::string> QuorvelAppObject::Members::runningJobs() {
  std::vector<std::string> running;
  for (std::int32_t index = 0; auto* const scheduler = m_controlObject.object(index); ++index) {
    if (scheduler->isNowCopyingFile()) running.push_back(scheduler->jobUuid());
  }
  return running;
}

// A run that ended because its scheduler was stopped tells nothing of its end.
std::vector<std::string> QuorvelAppObject::Members::noteStoppedRuns(const std::vector<std::string>& wereRunning) {
  events.drain();
  std::vector<std::string> names;
  const std::string now = storedDate(services.schedule.worker.clock.now());
  std::optional<JobStore::Gathering> gathering(std::in_place, store);
  for (const std::string& uuid : wereRunning) {
    const std::int32_t index = store.indexOfUuid(uuid);
    auto* const scheduler = schedulerOf(uuid);
    if (scheduler && scheduler->isStarted()) continue;
    arrived.runEnded(uuid, {}, ArrivedVolumes::RunEnd::kNotCompleted);
    if (!isStoredAsRunning(store.job(index))) continue;
    names.push_back(store.job(index)[kObjectNameKey].text());
    store.changeJob(index, [&now](PropertyList::Dictionary& stopped) {
      stopped[kJobStatusKey] = static_cast<std::int32_t>(JobStatus::kCompleted);
      stopped[kCancelStatusKey] = static_cast<std::int32_t>(CancelStatus::kCancelled);
      stopped[kLastRanTimeKey] = now;
    });
  }
  gathering.reset();
  tellTrouble();
  return names;
}

// The job's settings have changed. What its last run has told is stored before they are read.
void QuorvelAppObject::Members::restart(std::int32_t index) {
  const auto running = runningJobs();
  m_controlObject.stopJob(index);
  noteStoppedRuns(running);
  m_controlObject.reloadPreferenceInfo();
  m_controlObject.fresh(index);
  changed();
}

std::vector<std::string> QuorvelAppObject::Members::bringInStep() {
  const auto running = runningJobs();
  std::vector<std::string> stopped;
  m_controlObject.bringInStep([&] { stopped = noteStoppedRuns(running); });
  changed();
  return stopped;
}

// Enabling and disabling.

bool QuorvelAppObject::enableJobAtIndex(std::int32_t index) {
  return members_->setActive(index, true);
}

bool QuorvelAppObject::disableJobAtIndex(std::int32_t index) {
  return members_->setActive(index, false);
}

bool QuorvelAppObject::Members::setActive(std::int32_t index, bool active) {
  const PropertyList before = store.job(index);
  if (before.isNone() || before[kActiveKey].boolean() == active) return false;
  const bool isStored = store.changeJob(index, [active](PropertyList::Dictionary& job) { job[kActiveKey] = active; });
  if (isStored) restart(index);
  tellTrouble();
  return isStored;
}

bool QuorvelAppObject::setManullyDisableAtIndex(std::int32_t index, bool disabled) {
  return members_->store.changeJob(index, [&](PropertyList::Dictionary& job) { job[kManullyDisableKey] = disabled; });
}

bool QuorvelAppObject::getManullyDisableAtIndex(std::int32_t index) {
  return members_->store.job(index)[kManullyDisableKey].boolean();
}

void QuorvelAppObject::freshTheJobStatus() {
  std::int32_t index = 0;
  for (const PropertyList& job : members_->store.jobs()) members_->refresh(index++, job);
  members_->runArrivals();
  (void)members_->services.defaults.objects();  // a file that somebody has damaged is put right
  members_->tellTrouble();
}

void QuorvelAppObject::Members::refresh(std::int32_t index, const PropertyList& looked) {
  if (looked[kDmgPathKey].text().empty() || looked[kManullyDisableKey].boolean()) return;
  const std::string target = looked[kBackupFoldersKey].at(2).text();
  const bool exists = !target.empty() && files().openRoot(target).has_value();
  switch (statusRefresh(exists, looked[kAutoMountKey].boolean())) {
    case StatusRefresh::kEnable:
      setActive(index, true);
      break;
    case StatusRefresh::kDisable:
      setActive(index, false);
      break;
    case StatusRefresh::kNothing:
      break;
  }
}

// Making, changing and deleting.

bool QuorvelAppObject::addJob(const QUORVELPREFERENCEINFO& job) {
  Members& m = *members_;
  m.store.m_nIndex = -1;
  if (checkJobName(job.name) || m.store.checkJobNameIsExist(job.name, JobStore::Editing::kNewJob)) return false;
  m.removeFileList(job.name);
  m.store.m_currentInfo = job;
  const bool isStored = m.store.addPreferenceInfo(-1);
  if (isStored) {
    m.m_controlObject.reloadPreferenceInfo();
    if (!m.m_controlObject.addObject(m.store.count() - 1)) (void)m.bringInStep();
    m.changed();
  }
  m.tellTrouble();
  return isStored;
}

bool QuorvelAppObject::addSourceToJobAtIndex(std::int32_t index, const std::vector<std::string>& sourceList) {
  return !members_->addSources(index, sourceList);
}

std::optional<std::string> QuorvelAppObject::Members::addSources(std::int32_t index,
                                                                 const std::vector<std::string>& sources) {
  store.m_nIndex = index;
  if (!store.fetchPreferenceInfo(index, JobStore::Locking::kTake)) return "no such job";
  QUORVELPREFERENCEINFO& info = store.m_currentInfo;
  if (info.bMultipleTargetFolder) return info.name + ": each of its sources has a target of its own";
  for (const std::string& source : sources) {
    const std::string path = paths::normalised(source, "/");
    const bool isKnown = std::find(info.sourcePaths.begin(), info.sourcePaths.end(), path) != info.sourcePaths.end();
    if (!isKnown) info.sourcePaths.push_back(path);
  }
  if (const auto problem = checkJobPaths(info)) return textOf(*problem);
  const std::string computer = store.job(index)[kComputerNameKey].text();
  if (const auto problem =
          checkJobFolders(files(), info.jobType, info.bRetainFullPath, info.sourcePaths, info.targetPaths, computer)) {
    return textOf(*problem);
  }
  if (!store.storePreferenceInfo(index)) return store.lastError().text();
  (void)bringInStep();
  return std::nullopt;
}

// The whole array in one step, then the schedulers.
tl::expected<std::vector<std::string>, std::string> QuorvelAppObject::Members::storeJobs(
    const PropertyList::Array& before, PropertyList::Array after) {
  if (auto problem = problemOfJobList(before, after)) return tl::make_unexpected(std::move(*problem));
  const auto removed = namesOfRemovedJobs(before, after);
  const auto renamings = renamingsOf(before, after);
  for (const std::string& name : namesOfNewJobs(before, after)) removeFileList(name);
  for (const JobRenaming& renaming : renamings) moveFileList(renaming);
  if (!store.replaceAll(before, std::move(after))) return tl::make_unexpected(store.lastError().text());
  auto stopped = bringInStep();
  for (const std::string& name : removed) removeFileList(name);
  // What a run has left behind that was stopped for it.
  for (const JobRenaming& renaming : renamings)
    if (!renaming.isShared) removeFileList(renaming.from);
  return stopped;
}

bool QuorvelAppObject::deleteJobButtonActionWithIndex(std::int32_t index) {
  Members& m = *members_;
  const std::string uuid = m.store.job(index)[kUuidStringKey].text();
  if (m.store.job(index).isNone() || !m.dialogs().ask(kApplicationTitle, kDeleteText, "OK", "Cancel")) return false;
  if (!m.isLaunched) return false;
  return m.deleteJob(uuid.empty() ? index : m.store.indexOfUuid(uuid));  // others may have gone meanwhile
}

bool QuorvelAppObject::deleteJobButtonActionWithOutPromptAtIndex(std::int32_t index) {
  Members& m = *members_;
  const std::string name = m.store.job(index)[kObjectNameKey].text();
  if (!m.deleteJob(index)) return false;
  m.dialogs().showMessage(name, name, kCloneDoneText);
  return true;
}

// The run is stopped before anything goes, so that it leaves no list behind. Where the job cannot be removed from the
// store, its scheduler comes back.
bool QuorvelAppObject::Members::deleteJob(std::int32_t index) {
  const PropertyList gone = store.job(index);
  if (gone.isNone()) return false;
  m_controlObject.stopJob(index);
  events.drain();
  store.m_nIndex = index;
  progress.forget(gone[kUuidStringKey].text());
  removeFileList(gone[kObjectNameKey].text());
  m_controlObject.deleteObject(index);
  const bool isGone = store.deletePreferenceInfo(index);
  store.m_nIndex = -1;
  if (isGone) {
    m_controlObject.reloadPreferenceInfo();
  } else {
    (void)bringInStep();
  }
  tellTrouble();
  changed();
  return isGone;
}

// Without a list nothing is deleted for a job; one that stays behind is removed when its name is used again.
void QuorvelAppObject::Members::removeFileList(const std::string& jobName) {
  if (checkJobName(jobName)) return;
  if (const auto folder = files().openRoot(fileListFolder())) {
    (void)files().removeFile(folder->get(), fileListName(jobName));
  }
}

// Before the job has its name: without a list nothing is deleted, with another's something might be.
void QuorvelAppObject::Members::moveFileList(const JobRenaming& renaming) {
  if (checkJobName(renaming.from) || checkJobName(renaming.to)) return;
  if (renaming.isShared) {
    removeFileList(renaming.from);
    return removeFileList(renaming.to);
  }
  if (const auto folder = files().openRoot(fileListFolder())) {
    (void)files().rename(folder->get(), fileListName(renaming.from), folder->get(), fileListName(renaming.to),
                         Replace::kAllowed);
  }
}

// What runs is shown as running in the list that was read, and nothing else is. Settings without a list say nothing
// about the jobs: whoever wants to have none stores an empty one.
bool QuorvelAppObject::reload() {
  Members& m = *members_;
  m.events.drain();
  const auto before = m.store.jobs();
  const bool isFound = m.store.reloadPreferenceInfo();
  if (!isFound && !before.empty() && m.store.replaceAll({}, before))
    m.dialogs().showAlert(kApplicationTitle, kNoListText);
  const bool isRead = (isFound || before.empty()) && m.store.lastError().operation.empty();
  if (isRead) m.store.initializeStatus();
  m.tellTrouble();
  if (!isRead) return false;
  (void)m.bringInStep();
  for (const PropertyList& job : before) {
    auto* const scheduler = m.schedulerOf(job[kUuidStringKey].text());
    if (!scheduler || !scheduler->isNowCopyingFile() || !isStoredAsRunning(job)) continue;
    m.store.changeJob(m.store.indexOfUuid(job[kUuidStringKey].text()), [](PropertyList::Dictionary& running) {
      running[kJobStatusKey] = static_cast<std::int32_t>(JobStatus::kRunning);
    });
  }
  for (const std::string& name : namesOfRemovedJobs(before, m.store.jobs())) m.removeFileList(name);
  return true;
}

// Finding.

scheduleThreadObject* QuorvelAppObject::Members::schedulerOf(const std::string& uuid) {
  for (std::int32_t index = 0; auto* const scheduler = m_controlObject.object(index); ++index) {
    if (!uuid.empty() && scheduler->jobUuid() == uuid) return scheduler;
  }
  return nullptr;
}

}  // namespace lumisk
