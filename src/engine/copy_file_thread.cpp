#include "engine/copy_file_thread_members.h"
#include "engine/path_texts.h"

// The worker's thread: takes up requests, has each run, and tells what became of it.

namespace lumisk {
namespace {

RunResult brokenRun(const std::string& problem) {
  RunResult result;
  result.report.problemText = problem;
  result.report.errorCode = RunError::kFileCopy;
  result.report.counts.errors = 1;
  result.m_bHasError = true;
  return result;
}

}  // namespace

void copyFileThreadObject::Members::copyFileThread() {
  runRequests(": Starting running\n");
}

void copyFileThreadObject::Members::runRequests(const char* firstLine) {
  guarded([&] {
    const std::string line = currentInfo().name + firstLine;
    openLog(isDryRun())->write("%s", line.c_str());
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
  request.number = lastRequest;
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
  if (!thrown.empty()) {
    result = brokenRun(thrown);
    memory.settled = false;
  }
  endRun(request, result);
  return result.end != RunResult::End::kTerminated;
}

RunResult copyFileThreadObject::Members::perform(const RunRequest& request) {
  const auto log = openLog(request.options.dryRun);
  const RunResult result = runSequence(request, *log);
  if (result.detachesImage && !services.images.detachImage(request.info.dmgPath)) {
    log->write("%s: WARNING: the image \"%s\" could not be detached\n", request.info.name.c_str(),
               shown(request.info.dmgPath).c_str());
  }
  return result;
}

RunResult copyFileThreadObject::Members::runSequence(const RunRequest& request, JobLog& log) {
  if (request.info.jobType == JobType::kClone) return runClone(request, log);
  RunSequence sequence(services, memory, request, RunSwitches{m_bTerminateThread, m_bCanceled, &pause}, log,
                       [this](const JobProgressMessage& message) { postProgress(message); });
  return sequence.run();
}

void copyFileThreadObject::Members::endRun(const RunRequest& request, const RunResult& result) {
  {
    ConditionLock::Guard guard(m_conditionLock);
    lastReport = result.report;
    lastReport.request = request.number;
    if (!request.options.dryRun) keepResult(request, result);
    m_bCanceled = false;
    pause.clear();
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
  takeRunKeys(result.report.jobKeys, m_currentInfo);
  if (result.end != RunResult::End::kWhole) return;
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
         {{kRunCompletedKey, completed},
          {kRunCancelledKey, result.report.cancelled},
          {kRunBeginKey, storedDate(request.begin)},
          {kRunJobKeysKey, result.report.jobKeys}});
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
