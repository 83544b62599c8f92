#include "engine/copy_file_thread_object.h"

#include "engine/copy_file_thread_members.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

constexpr int kTerminateMessage = 1;

bool isRunHere(JobType type) {
  return type == JobType::kBackup || isSync(type) || type == JobType::kClone;
}

bool isOnUnmountableVolume(const std::string& path) {
  const auto info = workspace::fileSystemInfo(path);
  return info && info->isUnmountable;
}

void takePlaceNames(const PropertyList& job, QUORVELPREFERENCEINFOtag_CopyFileObjectPart& view) {
  view.computerName = job[kComputerNameKey].text();
  view.rootDisplayName = job[kRootDisplayNameKey].text();
  if (view.computerName.empty()) view.computerName = workspace::computerName();
  if (view.rootDisplayName.empty()) view.rootDisplayName = workspace::rootDisplayName();
}

}  // namespace

copyFileThreadObject::copyFileThreadObject(WorkerServices services)
    : members_(std::make_unique<Members>(*this, std::move(services))) {
  Members& m = *members_;
  if (m.services.eventListening) m.listening = m.services.eventListening(*this);
  if (!m.listening) m.listening = std::make_unique<NoListening>();
  m.cancelEvent = m.services.notifications.observe(kCancelNotification, [&m](const Notification& notification) {
    const auto* index = std::any_cast<std::int32_t>(&notification.object);
    if (index && *index == m.m_nJobIndex) m.cancel();
  });
}

copyFileThreadObject::~copyFileThreadObject() {
  stop();
}

bool copyFileThreadObject::fetchCurrentInfo(const PropertyList::Array& jobs, std::int32_t index) {
  Members& m = *members_;
  ConditionLock::Guard guard(m.m_conditionLock);
  m.m_nJobIndex = index;
  m.m_notificationInfo = {{kJobIndexKey, PropertyList(index)}};
  if (index < 0 || static_cast<std::size_t>(index) >= jobs.size()) return false;
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart view;
  if (!copyFileObjectPartFromDictionary(jobs[static_cast<std::size_t>(index)], view)) return false;
  takePlaceNames(jobs[static_cast<std::size_t>(index)], view);
  m.m_currentInfo = std::move(view);
  m.m_notificationInfo[kJobUuidKey] = m.m_currentInfo.uuidString;
  return true;
}

void copyFileThreadObject::setJobIndex(std::int32_t index) {
  Members& m = *members_;
  ConditionLock::Guard guard(m.m_conditionLock);
  m.m_nJobIndex = index;
  m.m_notificationInfo[kJobIndexKey] = PropertyList(index);
}

bool copyFileThreadObject::start() {
  Members& m = *members_;
  const std::lock_guard life(m.m_lifeLock);
  const auto info = m.currentInfo();
  {
    ConditionLock::Guard guard(m.m_conditionLock);
    if (!m.m_bTerminateThread || !m.m_bThreadDied) return false;
    if (!isRunHere(info.jobType)) return true;
    m.m_nCopyMethod = CopyMethod::kNothing;
    m.m_bTerminateThread = false;
    m.m_bThreadDied = false;
    m.m_bCanceled = false;
    guard.release(kIdle);
  }
  m.startListening();
  return m.launchThread();
}

bool copyFileThreadObject::Members::launchThread() {
  const bool isClone = currentInfo().jobType == JobType::kClone;
  const auto run = [this, isClone] { isClone ? cloneDiscThread() : copyFileThread(); };
  if (guarded([&] { thread = std::thread(run); }).empty()) return true;
  stopListening();
  ConditionLock::Guard guard(m_conditionLock);
  m_bTerminateThread = true;
  m_bThreadDied = true;
  return false;
}

bool copyFileThreadObject::stop() {
  Members& m = *members_;
  postMessage(kTerminateMessage);
  const std::lock_guard life(m.m_lifeLock);
  postMessage(kTerminateMessage);  // once more: a start may have come in between
  {
    ConditionLock::Guard guard(m.m_conditionLock);
    if (m.m_bThreadDied) return true;
  }
  { const ConditionLock::Guard ended(m.m_conditionLock, kEnded); }
  m.thread.join();
  {
    const ConditionLock::Guard guard(m.m_conditionLock);
    m.m_bThreadDied = true;
  }
  m.stopListening();
  return true;
}

bool copyFileThreadObject::postMessage(int message) {
  Members& m = *members_;
  if (message != kTerminateMessage) return false;
  ConditionLock::Guard guard(m.m_conditionLock);
  if (m.m_bTerminateThread) return false;
  m.m_bTerminateThread = true;
  m.pause.clear();
  guard.release(kRequested);
  return true;
}

std::uint64_t copyFileThreadObject::setCopyMethod(CopyMethod method) {
  Members& m = *members_;
  ConditionLock::Guard guard(m.m_conditionLock);
  m.m_nCopyMethod = method;
  if (m.m_bTerminateThread) return 0;  // an ended thread stays ended
  // What was cancelled or paused before this request was another run.
  if (!m.m_bBusy && !m.isPassing) {
    m.m_bCanceled = false;
    m.pause.clear();
  }
  const std::uint64_t request = ++m.lastRequest;
  guard.release(kRequested);
  return request;
}

void copyFileThreadObject::setFirstCopy() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->m_currentInfo.bFirstCopy = true;
}

void copyFileThreadObject::setCancelFlag(bool cancelled) {
  Members& m = *members_;
  if (cancelled) return m.cancel();
  const ConditionLock::Guard guard(m.m_conditionLock);
  m.m_bCanceled = false;
}

void copyFileThreadObject::Members::cancel() {
  const ConditionLock::Guard guard(m_conditionLock);
  m_bCanceled = true;
  pause.clear();
}

PauseAnswer copyFileThreadObject::pauseRun() {
  Members& m = *members_;
  const ConditionLock::Guard guard(m.m_conditionLock);
  const bool runs = m.m_bBusy || m.isPassing || m.m_conditionLock.condition() == kRequested;
  if (!runs || m.m_bTerminateThread || m.m_bCanceled) return PauseAnswer::kNotRunning;
  // Its helper runs without us.
  if (m.m_currentInfo.jobType == JobType::kClone) return PauseAnswer::kCannotBePaused;
  m.pause.set();
  return PauseAnswer::kDone;
}

bool copyFileThreadObject::resumeRun() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  const bool wasPaused = members_->pause.isSet();
  members_->pause.clear();
  return wasPaused;
}

bool copyFileThreadObject::isPaused() {
  return members_->pause.isSet();
}

void copyFileThreadObject::setRunOptions(RunOptions options) {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->options = std::move(options);
}

void copyFileThreadObject::setRunByFindTarget() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->_runByFindTarget = true;
}

void copyFileThreadObject::setScheduleThread(RunScheduler* scheduler) {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->m_scheduleThread = scheduler;
}

bool copyFileThreadObject::isBusy() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->m_bBusy || members_->isPassing;
}

bool copyFileThreadObject::needScan() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->_needScan;
}

bool copyFileThreadObject::isADMGJobNeedListenTarget() {
  const auto info = members_->currentInfo();
  if (info.dmgPath.empty() || !info.bAutoMount) return false;
  return !members_->services.images.isAKeychainDMGAtPath(info.dmgPath);
}

std::int32_t copyFileThreadObject::getJobIndex() {
  return members_->m_nJobIndex;
}

std::string copyFileThreadObject::getJobName() {
  return members_->currentInfo().name;
}

std::vector<std::string> copyFileThreadObject::getSourcePaths() {
  return members_->currentInfo().sourcePaths;
}

std::vector<std::string> copyFileThreadObject::getTargetPaths() {
  return members_->currentInfo().targetPaths;
}

RunReport copyFileThreadObject::lastReport() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->lastReport;
}

// Listening.

void copyFileThreadObject::Members::startListening() {
  const auto info = currentInfo();
  if (info.jobType == JobType::kClone) return;  // its helper carries the volume as it is then
  if (info.scheduling_method == SchedulingMethod::kRealTime) {
    const bool scan = std::any_of(info.sourcePaths.begin(), info.sourcePaths.end(), isOnUnmountableVolume);
    {
      const ConditionLock::Guard guard(m_conditionLock);
      _needScan = scan;
    }
    listens = Listens::kToEvents;
    listening->startFSEventThread();
  } else if (self.isADMGJobNeedListenTarget()) {
    listens = Listens::kForTarget;
    listening->startCheckTargetThreadWithoutFSEvent();
  }
}

void copyFileThreadObject::Members::stopListening() {
  if (listens == Listens::kToEvents) listening->stopFSEventThread();
  if (listens == Listens::kForTarget) listening->stopCheckTargetThread();
  listens = Listens::kNot;
}

}  // namespace lumisk
