#include "engine/copy_file_thread_object.h"

#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>

#include "engine/run_sequence.h"
#include "platform/condition_lock.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

// The conditions of m_conditionLock.
constexpr int kIdle = 80;
constexpr int kRequested = 81;
constexpr int kEnded = 82;
constexpr int kCreated = 83;

constexpr int kTerminateMessage = 1;

bool isWalkedHere(JobType type) {
  return type == JobType::kBackup || isSync(type);
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

// Nothing thrown leaves the worker's thread. What was thrown, or "".
template <class Work>
std::string guarded(Work&& work) {
  try {
    work();
    return {};
  } catch (const std::exception& thrown) {
    return std::string("unexpected failure: ") + thrown.what();
  } catch (...) {
    return "unexpected failure";
  }
}

RunResult brokenRun(const std::string& problem) {
  RunResult result;
  result.report.problemText = problem;
  result.report.errorCode = RunError::kFileCopy;
  result.report.counts.errors = 1;
  result.m_bHasError = true;
  return result;
}

}  // namespace

struct copyFileThreadObject::Members {
  Members(copyFileThreadObject& owner, WorkerServices workerServices)
      : self(owner), services(std::move(workerServices)) {}

  void copyFileThread();
  bool takeRequest(RunRequest& request);
  bool runOnce(const RunRequest& request);
  RunResult perform(const RunRequest& request);
  void endRun(const RunRequest& request, const RunResult& result);
  void keepResult(const RunRequest& request, const RunResult& result);
  void postEnd(const RunRequest& request, const RunResult& result);
  void endThread();

  void post(const char* name, std::any object, PropertyList::Dictionary userInfo = {});
  void postProgress(const JobProgressMessage& message) { post(kProgressNotification, message); }
  std::unique_ptr<JobLog> openLog(bool dryRun);
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart currentInfo();
  bool isDryRun();

  void startListening();
  void stopListening();
  bool launchThread();

  copyFileThreadObject& self;
  const WorkerServices services;

  std::mutex m_lifeLock;  // start, stop and listening: one of them at a time; taken before m_conditionLock
  std::thread thread;
  std::unique_ptr<EventListening> listening;
  enum class Listens { kNot, kToEvents, kForTarget } listens = Listens::kNot;

  std::mutex _threadLock;  // held for the whole of one run; taken before m_conditionLock
  RunMemory memory;        // the thread's own

  ConditionLock m_conditionLock{kCreated};
  // Guarded by m_conditionLock; the two that a run looks at between entries are read without it.
  std::atomic<bool> m_bTerminateThread{true};
  std::atomic<bool> m_bCanceled{false};
  bool m_bThreadDied = true;
  bool m_bBusy = false;
  bool _needScan = false;
  bool _runByFindTarget = false;
  CopyMethod m_nCopyMethod = CopyMethod::kNothing;
  std::atomic<std::int32_t> m_nJobIndex{-1};
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart m_currentInfo;
  PropertyList::Dictionary m_notificationInfo;
  RunOptions options;
  RunReport lastReport;
  void* m_scheduleThread = nullptr;

  NotificationCenter::Observation cancelEvent;  // last: gone before what it uses
};

copyFileThreadObject::copyFileThreadObject(WorkerServices services)
    : members_(std::make_unique<Members>(*this, std::move(services))) {
  Members& m = *members_;
  if (m.services.eventListening) m.listening = m.services.eventListening(*this);
  if (!m.listening) m.listening = std::make_unique<NoListening>();
  m.cancelEvent = m.services.notifications.observe(kCancelNotification, [&m](const Notification& notification) {
    const auto* index = std::any_cast<std::int32_t>(&notification.object);
    if (index && *index == m.m_nJobIndex) m.m_bCanceled = true;
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
    if (!isWalkedHere(info.jobType)) return true;
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
  if (guarded([this] { thread = std::thread([this] { copyFileThread(); }); }).empty()) return true;
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
  guard.release(kRequested);
  return true;
}

void copyFileThreadObject::setCopyMethod(CopyMethod method) {
  Members& m = *members_;
  ConditionLock::Guard guard(m.m_conditionLock);
  m.m_nCopyMethod = method;
  if (m.m_bTerminateThread) return;  // an ended thread stays ended
  // What was cancelled before this request was another run.
  if (!m.m_bBusy) m.m_bCanceled = false;
  guard.release(kRequested);
}

void copyFileThreadObject::setCancelFlag(bool cancelled) {
  Members& m = *members_;
  {
    const ConditionLock::Guard guard(m.m_conditionLock);
    m.m_bCanceled = cancelled;
  }
  const std::lock_guard life(m.m_lifeLock);
  if (m.listens != Members::Listens::kToEvents) return;
  m.listening->stopFSEventThread();
  m.listening->startFSEventThread();
}

void copyFileThreadObject::setRunOptions(RunOptions options) {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->options = std::move(options);
}

void copyFileThreadObject::setRunByFindTarget() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->_runByFindTarget = true;
}

void copyFileThreadObject::setScheduleThread(void* scheduler) {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  members_->m_scheduleThread = scheduler;
}

bool copyFileThreadObject::isBusy() {
  const ConditionLock::Guard guard(members_->m_conditionLock);
  return members_->m_bBusy;
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

// The thread.

void copyFileThreadObject::Members::copyFileThread() {
  guarded([this] {
    openLog(isDryRun())->write("%s: Starting running\n", currentInfo().name.c_str());
    RunRequest request;
    while (takeRequest(request)) {
      const std::lock_guard running(_threadLock);
      if (!runOnce(request)) break;
    }
  });
  guarded([this] { postProgress(JobProgressMessage::finishedMessageWithJobName(currentInfo().name)); });
  guarded([this] { openLog(isDryRun())->write("%s: Stop running\n\n", currentInfo().name.c_str()); });
  endThread();
}

void copyFileThreadObject::Members::endThread() {
  ConditionLock::Guard guard(m_conditionLock);
  m_bBusy = false;
  guard.release(kEnded);
}

// Waits for a request and takes it up; false when the thread is to end.
bool copyFileThreadObject::Members::takeRequest(RunRequest& request) {
  const ConditionLock::Guard guard(m_conditionLock, kRequested);
  if (m_bTerminateThread) return false;
  m_bBusy = true;
  request.info = m_currentInfo;
  request.jobIndex = m_nJobIndex;
  request.method = m_nCopyMethod;
  request.options = options;
  request.begin = services.clock.now();
  request.runByFindTarget = std::exchange(_runByFindTarget, false);
  return true;
}

// False when the worker was stopped in the middle: nothing more is told of such a run.
bool copyFileThreadObject::Members::runOnce(const RunRequest& request) {
  if (!request.options.dryRun) {
    guarded([&] { post(kWillStartNotification, {}, {{kRunBeginKey, storedDate(request.begin)}}); });
  }
  RunResult result;
  const std::string thrown = guarded([&] { result = perform(request); });
  if (!thrown.empty()) result = brokenRun(thrown);
  endRun(request, result);
  return result.end != RunResult::End::kTerminated;
}

RunResult copyFileThreadObject::Members::perform(const RunRequest& request) {
  const auto log = openLog(request.options.dryRun);
  RunSequence sequence(services, memory, request, RunSwitches{m_bTerminateThread, m_bCanceled}, *log,
                       [this](const JobProgressMessage& message) { postProgress(message); });
  return sequence.run();
}

void copyFileThreadObject::Members::endRun(const RunRequest& request, const RunResult& result) {
  {
    ConditionLock::Guard guard(m_conditionLock);
    lastReport = result.report;
    if (!request.options.dryRun && result.end == RunResult::End::kWhole) keepResult(request, result);
    m_bCanceled = false;
    if (result.end == RunResult::End::kTerminated) return;
    if (!m_bTerminateThread) {
      m_bBusy = false;
      guard.release(kIdle);
    }
  }
  postEnd(request, result);
}

// Under m_conditionLock. Other settings may have been fetched meanwhile; then they say when their job ran last.
void copyFileThreadObject::Members::keepResult(const RunRequest& request, const RunResult& result) {
  if (m_currentInfo.uuidString != request.info.uuidString || m_currentInfo.name != request.info.name) return;
  if (result.firstCopyOver) m_currentInfo.bFirstCopy = false;
  m_currentInfo.lastRunTime = storedDate(services.clock.now());
  m_currentInfo.lastBeginTime = storedDate(request.begin);
  if (result.report.completed && result.report.wholeJob) m_currentInfo.lastCompletedBegin = storedDate(request.begin);
}

void copyFileThreadObject::Members::postEnd(const RunRequest& request, const RunResult& result) {
  guarded([this] { post(kScheduleNotification, &self); });
  if (request.options.dryRun) return;
  const bool completed = result.report.completed && result.report.wholeJob;
  guarded([&] {
    post(kDidFinishNotification, {},
         {{kRunCompletedKey, completed}, {kRunBeginKey, storedDate(request.begin)}});
  });
  if (result.m_bHasError) guarded([this] { post(kErrorMessageNotification, m_nJobIndex.load()); });
}

// Not while m_conditionLock is held: observers ask the worker.
void copyFileThreadObject::Members::post(const char* name, std::any object, PropertyList::Dictionary userInfo) {
  {
    const ConditionLock::Guard guard(m_conditionLock);
    userInfo.insert(m_notificationInfo.begin(), m_notificationInfo.end());
  }
  services.notifications.post(Notification{name, std::move(object), std::move(userInfo)});
}

QUORVELPREFERENCEINFOtag_CopyFileObjectPart copyFileThreadObject::Members::currentInfo() {
  const ConditionLock::Guard guard(m_conditionLock);
  return m_currentInfo;
}

bool copyFileThreadObject::Members::isDryRun() {
  const ConditionLock::Guard guard(m_conditionLock);
  return options.dryRun;
}

std::unique_ptr<JobLog> copyFileThreadObject::Members::openLog(bool dryRun) {
  if (dryRun) return std::make_unique<NoJobLog>();
  return std::make_unique<JobLogFile>(currentInfo().name);
}

}  // namespace lumisk
