#include "engine/folder_listening.h"

#include <chrono>
#include <system_error>

#include "engine/listened_folders.h"
#include "engine/run_sequence.h"

namespace lumisk {
namespace {

constexpr auto kPoll = std::chrono::seconds(1);
constexpr auto kRetry = std::chrono::seconds(5);  // another run holds the target

std::vector<std::string> joined(std::vector<std::string> first, const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return sortedMessagesArray(first);
}

}  // namespace

FolderListening::FolderListening(copyFileThreadObject& worker, FileCalls& files, const ListeningServices& services)
    : worker_(worker),
      files_(files),
      targetSleep_(services.makeSleep()),
      retrySleep_(services.makeSleep()),
      _watchObject(services.listen, *this) {}

FolderListening::~FolderListening() {
  stopFSEventThread();
  stopCheckTargetThread();
}

// Starting and stopping.

void FolderListening::startFSEventThread() {
  if (_fseventThreadStart.exchange(true)) return;
  clear();
  const auto job = worker_.currentJob();
  const bool mayBeMounted = !job.dmgPath.empty() && job.bAutoMount;
  mountsItself_ = mayBeMounted && !worker_.isADMGJobNeedListenTarget();
  m_fseventThreadLock.lock();
  m_fseventThreadLock.unlockWithCondition(kThreadStarted);
  try {
    listeningThread_ = std::thread([this] { fsevevtThread(); });
    targetThread_ = std::thread([this] { checkStoredArrayThread(); });
  } catch (const std::system_error& failed) {
    worker_.logLine(std::string("can't listen for changes: ") + failed.what());
    return stopFSEventThread();
  }
  const std::lock_guard lock(watchLock_);
  _watchObject.startWatchFileWithArray(sortTheListenningArray(listenedPlaces(files_, job), job.jobType),
                                       job.targetPaths.empty() ? std::string() : job.targetPaths.front());
}

void FolderListening::stopFSEventThread() {
  {
    const std::lock_guard lock(watchLock_);
    _watchObject.stopWatchFile();
  }
  if (!_fseventThreadStart.exchange(false)) return;
  {
    ConditionLock::Guard guard(m_listenedArrayLock);
    m_listenedArray.clear();
    storedEventArray.clear();
    guard.release(kListened);  // whoever waits for folders wakes up and sees the stop
  }
  targetSleep_->wake();
  retrySleep_->wake();
  if (listeningThread_.joinable()) {
    { const ConditionLock::Guard ended(m_fseventThreadLock, kThreadEnded); }
    listeningThread_.join();
  }
  if (targetThread_.joinable()) targetThread_.join();
}

void FolderListening::clear() {
  ConditionLock::Guard guard(m_listenedArrayLock);
  m_listenedArray.clear();
  storedEventArray.clear();
  wantsWholeRun_ = false;
  guard.release(kNoneListened);
}

WatchedCounts FolderListening::counts() {
  const std::lock_guard lock(watchLock_);
  return _watchObject.counts();
}

// What the stream tells, on its thread, which others wait for: nothing here looks at a disk.

void FolderListening::addStringArrayToArray(const std::vector<std::string>& folders) {
  ConditionLock::Guard guard(m_listenedArrayLock);
  m_listenedArray = joined(std::move(m_listenedArray), folders);
  guard.release(stateOf(m_listenedArray));
}

void FolderListening::watchingHasBegun() {
  wantsWholeRun_ = true;
  targetSleep_->wake();
}

void FolderListening::watchingIsLimited(const std::string& text) {
  worker_.logLine(text);
}

// The listening thread.

void FolderListening::fsevevtThread() {
  std::vector<std::string> folders;
  while (takeListened(folders)) lookAt(folders);
  worker_.postFinishedMessage();
  m_fseventThreadLock.lock();
  m_fseventThreadLock.unlockWithCondition(kThreadEnded);
}

// All that is waiting: one pass is enough for it. False at a stop.
bool FolderListening::takeListened(std::vector<std::string>& folders) {
  ConditionLock::Guard guard(m_listenedArrayLock, kListened);
  if (!_fseventThreadStart) return false;
  folders = std::exchange(m_listenedArray, {});
  guard.release(kNoneListened);
  return true;
}

void FolderListening::lookAt(const std::vector<std::string>& folders) {
  const auto job = worker_.currentJob();
  std::vector<std::string> ours;
  for (const std::string& folder : folders)
    if (checkListenedDirectory(folder, job)) ours.push_back(folder);
  if (ours.empty()) return;
  if (!worker_.isTargetAvailabe() && !mountsItself_) return store(ours);
  const auto report = worker_.runListenedFolders(ours);
  if (!report) return;
  if (report->targetLocked) {
    putBack(ours);
    retrySleep_->sleep(kRetry);
  } else if (report->targetProblem && !worker_.isTargetAvailabe()) {
    store(ours);
  } else if (report->held) {
    wantsWholeRun_ = true;
  }
  const bool isLast = m_listenedArrayLock.condition() == kNoneListened;
  if (isLast) worker_.postFinishedMessage();
}

void FolderListening::putBack(const std::vector<std::string>& folders) {
  ConditionLock::Guard guard(m_listenedArrayLock);
  if (_fseventThreadStart) m_listenedArray = joined(std::move(m_listenedArray), folders);
  guard.release(_fseventThreadStart ? stateOf(m_listenedArray) : kListened);
}

void FolderListening::store(const std::vector<std::string>& folders) {
  const ConditionLock::Guard guard(m_listenedArrayLock);
  if (_fseventThreadStart) storedEventArray = joined(std::move(storedEventArray), folders);
}

// Waiting for the target.

void FolderListening::startCheckTargetThreadWithoutFSEvent() {
  if (checksTarget_.exchange(true)) return;
  try {
    targetThread_ = std::thread([this] { checkTargetThread(); });
  } catch (const std::system_error& failed) {
    checksTarget_ = false;
    worker_.logLine(std::string("can't wait for the target: ") + failed.what());
  }
}

void FolderListening::stopCheckTargetThread() {
  if (!checksTarget_.exchange(false)) return;
  targetSleep_->wake();
  targetThread_.join();
}

void FolderListening::checkTargetThread() {
  while (checksTarget_) {
    if (waitForTarget()) {
      worker_.setRunByFindTarget();
      wantsWholeRun_ = true;
    }
    askForWholeRun();
    rest();
  }
}

void FolderListening::checkStoredArrayThread() {
  while (_fseventThreadStart) {
    const bool isBackup = worker_.currentJob().jobType == JobType::kBackup;
    if (isBackup) handBackStored();
    if (waitForTarget()) {
      if (!isBackup) {
        // The run of the whole job looks at what they tell of.
        const ConditionLock::Guard guard(m_listenedArrayLock);
        storedEventArray.clear();
      }
      worker_.setRunByFindTarget();
      wantsWholeRun_ = true;
    }
    askForWholeRun();
    rest();
  }
}

bool FolderListening::waitForTarget() {
  bool wasAway = false;
  while ((_fseventThreadStart || checksTarget_) && !mountsItself_) {
    if (worker_.isTargetAvailabe()) return wasAway;
    wasAway = true;
    rest();
  }
  return false;
}

void FolderListening::handBackStored() {
  ConditionLock::Guard guard(m_listenedArrayLock);
  if (!_fseventThreadStart || storedEventArray.empty()) return;
  m_listenedArray = joined(std::move(m_listenedArray), std::exchange(storedEventArray, {}));
  guard.release(stateOf(m_listenedArray));
}

// A run that is under way may have begun before there was a reason for this one.
void FolderListening::askForWholeRun() {
  if (!wantsWholeRun_) return;
  if (!worker_.currentJob().lastRunTime.empty()) worker_.setRunByFindTarget();  // nobody needs to be told that it ended
  if (worker_.requestWholeRun()) wantsWholeRun_ = false;
}

void FolderListening::rest() {
  targetSleep_->sleep(kPoll);
}

std::function<std::unique_ptr<EventListening>(copyFileThreadObject&)> makeEventListening(FileEventStreams& streams,
                                                                                         FileCalls& files) {
  return [&streams, &files](copyFileThreadObject& worker) {
    return std::make_unique<FolderListening>(worker, files, ListeningServices{listenWith(streams), makeRealSleep});
  };
}

}  // namespace lumisk
