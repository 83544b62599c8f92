#include "schedule/schedule_thread_object.h"

#include "schedule/schedule_thread_members.h"

namespace lumisk {
namespace {

constexpr int kStopMessage = 1;

}  // namespace

scheduleThreadObject::Members::Members(ScheduleServices scheduleServices)
    : services(std::move(scheduleServices)),
      pluginList(services.pluginListPath),
      m_copyFileThreadObject(services.worker),
      sleep(services.makeSleep()) {
  runEvent = services.worker.notifications.observe(kScheduleNotification, [this](const Notification& notification) {
    scheduleControlObjectNotification(notification);
  });
}

scheduleThreadObject::scheduleThreadObject(ScheduleServices services)
    : members_(std::make_unique<Members>(std::move(services))) {
  members_->m_copyFileThreadObject.setScheduleThread(this);
}

scheduleThreadObject::~scheduleThreadObject() {
  stop();
}

bool scheduleThreadObject::fetchCurrentInfo(const PropertyList::Array& jobs, std::int32_t index) {
  Members& m = *members_;
  setJobIndex(index);
  if (index < 0 || static_cast<std::size_t>(index) >= jobs.size()) return false;
  const PropertyList& job = jobs[static_cast<std::size_t>(index)];
  QUORVELPREFERENCEINFOtag_SchedulePart view;
  if (!schedulePartFromDictionary(job, view) || !m.m_copyFileThreadObject.fetchCurrentInfo(jobs, index)) return false;
  const auto begin = CalendarDate::parse(job[kLastBeginTimeKey].text());
  {
    const ConditionLock::Guard guard(m.m_conditionLock);
    m.m_currentInfo = std::move(view);
    m.uuidString = job[kUuidStringKey].text();
    m.lastBegin = begin ? std::optional(begin->time()) : std::nullopt;
  }
  m.sleep->wake();  // the next look may come earlier than before
  return true;
}

void scheduleThreadObject::setJobIndex(std::int32_t index) {
  {
    const ConditionLock::Guard guard(members_->m_conditionLock);
    members_->m_nJobIndex = index;
  }
  members_->m_copyFileThreadObject.setJobIndex(index);
}

// Starting and stopping.

bool scheduleThreadObject::start() {
  Members& m = *members_;
  const std::lock_guard life(m.m_lifeLock);
  {
    ConditionLock::Guard guard(m.m_conditionLock);
    if (!m.m_bTerminateThread || !m.m_bThreadDied || !m.m_currentInfo.bActive) return false;
    m.m_bTerminateThread = false;
    m.m_bThreadDied = false;
    guard.release(kWaiting);
  }
  const bool isStarted = m.m_copyFileThreadObject.start() && m.launchThread();
  if (!isStarted) {
    m.m_copyFileThreadObject.stop();
    const ConditionLock::Guard guard(m.m_conditionLock);
    m.m_bTerminateThread = true;
    m.m_bThreadDied = true;
  }
  return isStarted;
}

bool scheduleThreadObject::postMessage(int message) {
  Members& m = *members_;
  {
    const ConditionLock::Guard guard(m.m_conditionLock);
    if (message != kStopMessage || !m.m_currentInfo.bActive || m.m_bTerminateThread) return false;
  }
  // The worker first: whatever is started in between, a scheduler without its worker does not go on.
  m.m_copyFileThreadObject.postMessage(kStopMessage);
  return m.requestStop();
}

bool scheduleThreadObject::stop() {
  Members& m = *members_;
  // Also while a start is under way, which this one would wait for.
  m.requestStop();
  m.m_copyFileThreadObject.postMessage(kStopMessage);
  const std::lock_guard life(m.m_lifeLock);
  m.requestStop();  // once more: a start may have come in between
  {
    const ConditionLock::Guard guard(m.m_conditionLock);
    if (m.m_bThreadDied) return true;
  }
  m.m_copyFileThreadObject.stop();
  { const ConditionLock::Guard ended(m.m_conditionLock, kThreadEnded); }
  m.thread.join();
  const ConditionLock::Guard guard(m.m_conditionLock);
  m.m_bThreadDied = true;
  return true;
}

// False when a stop was requested already, or no thread runs.
bool scheduleThreadObject::Members::requestStop() {
  {
    ConditionLock::Guard guard(m_conditionLock);
    if (m_bTerminateThread) return false;
    m_bTerminateThread = true;
    wake(guard);
  }
  sleep->wake();
  return true;
}

// Ends the thread's wait for a run. An ended thread stays ended.
void scheduleThreadObject::Members::wake(ConditionLock::Guard& guard) {
  const int condition = m_conditionLock.condition();
  guard.release(condition == kThreadEnded || condition == kMade ? condition : kWake);
}

// Requests and reports.

bool scheduleThreadObject::setImmediateEvent() {
  Members& m = *members_;
  {
    const ConditionLock::Guard guard(m.m_conditionLock);
    if (m.m_bCopyfile || m.isRunning) return false;
    m.m_bImmediateEvent = true;
  }
  m.sleep->wake();
  return true;
}

std::optional<std::uint64_t> scheduleThreadObject::requestRun(const RunOptions& options) {
  Members& m = *members_;
  std::uint64_t endedBefore = 0;
  {
    const ConditionLock::Guard guard(m.m_conditionLock);
    if (m.m_bTerminateThread || m.m_bCopyfile || m.isRunning || m.requested) return std::nullopt;
    m.requested = options;
    m.m_bImmediateEvent = true;
    endedBefore = m.ended.number;
  }
  m.sleep->wake();
  return endedBefore;
}

bool scheduleThreadObject::cancelRequestedRun() {
  Members& m = *members_;
  const ConditionLock::Guard guard(m.m_conditionLock);
  if (m.isRunning && !m.isGiven) return m.isUnwanted = true;
  if (!m.requested) return false;
  m.isToPause = false;
  m.requested.reset();
  m.m_bImmediateEvent = false;
  RunReport report;
  report.cancelled = true;
  m.countEnd(0, report);
  return true;
}

// The worker's lock is taken under this one, and never the other way round.
PauseAnswer scheduleThreadObject::pauseRun() {
  Members& m = *members_;
  const ConditionLock::Guard guard(m.m_conditionLock);
  const bool isComing = m.m_bImmediateEvent || (m.isRunning && !m.isGiven && !m.isUnwanted);
  if (!isComing || m.m_bTerminateThread) return m.m_copyFileThreadObject.pauseRun();
  if (m.m_currentInfo.jobType == JobType::kClone) return PauseAnswer::kCannotBePaused;
  m.isToPause = true;
  (void)m.m_copyFileThreadObject.pauseRun();  // a pass that is under way before it
  return PauseAnswer::kDone;
}

bool scheduleThreadObject::resumeRun() {
  Members& m = *members_;
  const ConditionLock::Guard guard(m.m_conditionLock);
  const bool wasToPause = std::exchange(m.isToPause, false);
  return m.m_copyFileThreadObject.resumeRun() || wasToPause;
}

bool scheduleThreadObject::isPaused() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->isToPause || members_->m_copyFileThreadObject.isPaused();
}

void scheduleThreadObject::setCopyingState(bool copying) {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->m_bCopyfile = copying;
}

bool scheduleThreadObject::isNowCopyingFile() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->m_bCopyfile || members_->isRunning;
}

// On the worker's thread.
void scheduleThreadObject::Members::scheduleControlObjectNotification(const Notification& notification) {
  const auto* sender = std::any_cast<copyFileThreadObject*>(&notification.object);
  if (!sender || *sender != &m_copyFileThreadObject) return;
  const RunReport report = m_copyFileThreadObject.lastReport();
  ConditionLock::Guard guard(m_conditionLock);
  // What the worker did by itself ends no run that was asked for.
  if (report.request > lastEndedRequest) countEnd(report.request, report);
  wake(guard);
}

// Under m_conditionLock.
void scheduleThreadObject::Members::countEnd(std::uint64_t request, const RunReport& report) {
  lastEndedRequest = std::max(lastEndedRequest, request);
  ++ended.number;
  ended.last = report;
}

bool scheduleThreadObject::isStarted() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return !members_->m_bTerminateThread;
}

WatchedCounts scheduleThreadObject::watchedCounts() {
  return members_->m_copyFileThreadObject.watchedCounts();
}

std::string scheduleThreadObject::jobName() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->m_currentInfo.name;
}

std::string scheduleThreadObject::jobUuid() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->uuidString;
}

std::int32_t scheduleThreadObject::jobIndex() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->m_nJobIndex;
}

scheduleThreadObject::EndedRuns scheduleThreadObject::endedRuns() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->ended;
}

}  // namespace lumisk
