#include <algorithm>

#include "engine/copy_file_thread_members.h"
#include "engine/info_files.h"

// What the worker does for its listening: passes over folders that have changed.

namespace lumisk {

std::optional<RunReport> copyFileThreadObject::runListenedFolders(const std::vector<std::string>& folders) {
  Members& m = *members_;
  RunResult result;
  const std::lock_guard running(m._threadLock);
  RunRequest request;
  if (!m.takeListened(request, folders)) return std::nullopt;
  m.setCopyingState(true);
  const PropertyList::Dictionary userInfo{{kRunBeginKey, storedDate(request.begin)}, {kRunPassKey, true}};
  guarded([&] { m.post(kWillStartNotification, {}, userInfo); });
  const std::string thrown = guarded([&] { result = m.perform(request); });
  if (!thrown.empty()) {
    result.report.problemText = thrown;
    result.report.counts.errors = 1;
    result.m_bHasError = true;
    m.memory.settled = false;
  }
  m.endListened(request, result);
  m.setCopyingState(false);
  if (result.end == RunResult::End::kTerminated) return std::nullopt;
  return result.report;
}

bool copyFileThreadObject::Members::takeListened(RunRequest& request, const std::vector<std::string>& folders) {
  const ConditionLock::Guard guard(m_conditionLock);
  if (m_bTerminateThread) return false;
  isPassing = true;
  // What was cancelled before was another run; but not one that has just been asked for.
  if (!m_bBusy && m_conditionLock.condition() != kRequested) m_bCanceled = false;
  request.info = m_currentInfo;
  request.info.bFirstCopy = false;  // the first copy is a run of the whole job
  request.jobIndex = m_nJobIndex;
  request.method = CopyMethod::kListenedFolders;
  request.listenedFolders = folders;
  request.options.pace = options.pace;
  request.begin = services.clock.now();
  return true;
}

void copyFileThreadObject::Members::endListened(const RunRequest& request, const RunResult& result) {
  {
    const ConditionLock::Guard guard(m_conditionLock);
    isPassing = false;
    if (!m_bBusy) m_bCanceled = false;
    if (!m_bBusy && m_conditionLock.condition() != kRequested) pause.clear();
    if (m_currentInfo.uuidString == request.info.uuidString && m_currentInfo.name == request.info.name) {
      takeRunKeys(result.report.jobKeys, m_currentInfo);
      if (!result.report.completed) m_currentInfo.lastBeginTime = storedDate(request.begin);
    }
  }
  // The next run takes care after a pass that failed.
  PropertyList::Dictionary keys = result.report.jobKeys;
  if (!result.report.completed) keys[kLastBeginTimeKey] = storedDate(request.begin);
  guarded([&] {
    post(kDidFinishNotification, {}, {{kRunCompletedKey, false}, {kRunPassKey, true}, {kRunJobKeysKey, keys}});
  });
  // Deletions that are held here are for a run of the whole job to decide.
  const bool isHeldOnly = result.report.held && result.report.counts.errors == 0;
  if (result.m_bHasError && !isHeldOnly) guarded([this] { post(kErrorMessageNotification, m_nJobIndex.load()); });
}

void copyFileThreadObject::Members::setCopyingState(bool copying) {
  RunScheduler* scheduler = nullptr;
  {
    const ConditionLock::Guard guard(m_conditionLock);
    scheduler = m_scheduleThread;
  }
  if (scheduler) scheduler->setCopyingState(copying);
}

bool copyFileThreadObject::requestWholeRun() {
  RunScheduler* scheduler = nullptr;
  {
    const ConditionLock::Guard guard(members_->m_conditionLock);
    scheduler = members_->m_scheduleThread;
  }
  if (scheduler) return scheduler->setImmediateEvent();
  return !isBusy() && setCopyMethod(CopyMethod::kNormal) != 0;
}

QUORVELPREFERENCEINFOtag_CopyFileObjectPart copyFileThreadObject::currentJob() {
  return members_->currentInfo();
}

// A mount point whose volume is away is a folder, too.
bool copyFileThreadObject::isTargetAvailabe() {
  const auto info = members_->currentInfo();
  if (info.targetPaths.empty()) return false;
  const std::string& target = info.targetPaths.front();
  const auto folder = members_->services.files.openRoot(target);
  if (!folder) return false;
  const auto& marked = info.markedTargets;
  if (info.uuidString.empty() || std::find(marked.begin(), marked.end(), target) == marked.end()) return true;
  return members_->isMarkedTarget(folder->get(), info.uuidString);
}

// Asked once a second: a folder that has not changed since the marker was found in it still has it. A run looks itself.
bool copyFileThreadObject::Members::isMarkedTarget(int folder, const std::string& uuid) {
  const auto status = services.files.statusOf(folder);
  if (!status) return false;
  const MarkedFolder now{status->identity, status->changed, uuid};
  {
    const std::lock_guard lock(markedLock);
    if (lastMarked == now) return true;
  }
  const auto marker = findInfoFile(services.files, folder, InfoFileKind::kTarget, uuid);
  const bool isMarked = marker && marker->has_value();
  const std::lock_guard lock(markedLock);
  lastMarked = isMarked ? std::optional(now) : std::nullopt;
  return isMarked;
}

void copyFileThreadObject::logLine(const std::string& text) {
  guarded([&] { members_->openLog(false)->write("%s: %s\n", members_->currentInfo().name.c_str(), text.c_str()); });
}

void copyFileThreadObject::postFinishedMessage() {
  guarded(
      [this] { members_->postProgress(JobProgressMessage::finishedMessageWithJobName(members_->currentInfo().name)); });
}

WatchedCounts copyFileThreadObject::watchedCounts() {
  return members_->listening->counts();
}

}  // namespace lumisk
