#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/copy_file_thread_object.h"
#include "engine/run_seams.h"
#include "engine/watch_file_controller.h"
#include "platform/condition_lock.h"
#include "platform/wakeable_sleep.h"

namespace lumisk {

struct ListeningServices {
  ListenToFolders listen;
  MakeSleep makeSleep;
};

// The listening of one worker: changed folders are collected as they are reported, during runs, too, and looked at by
// passes on a thread of its own, one at a time and never during a run. When the folders are watched, one run of the
// whole job makes up for what nobody saw. While the target is away, what is reported is kept aside; when it is back,
// the whole job runs.
//
// m_listenedArrayLock guards both arrays: 21 folders are waiting, 20 none are. m_fseventThreadLock: 30 the listening
// thread was started, 32 it has ended. Locks are taken in this order and none is held while the worker is called.
class FolderListening : public EventListening, private FolderEventReceiver {
 public:
  FolderListening(copyFileThreadObject& worker, FileCalls& files, const ListeningServices& services);
  ~FolderListening() override;

  void startFSEventThread() override;
  void stopFSEventThread() override;
  void startCheckTargetThreadWithoutFSEvent() override;
  void stopCheckTargetThread() override;
  [[nodiscard]] WatchedCounts counts() override;

 private:
  void addStringArrayToArray(const std::vector<std::string>& folders) override;
  void watchingHasBegun() override;
  void watchingIsLimited(const std::string& text) override;

  void fsevevtThread();
  bool takeListened(std::vector<std::string>& folders);
  void lookAt(const std::vector<std::string>& folders);
  void putBack(const std::vector<std::string>& folders);
  void store(const std::vector<std::string>& folders);

  void startThread(void (FolderListening::*work)());
  void checkTargetThread();
  void checkStoredArrayThread();
  bool waitForTarget();  // whether it was away and is there now
  void handBackStored();
  void askForWholeRun();
  void clear();
  void rest();
  static int stateOf(const std::vector<std::string>& listened) { return listened.empty() ? kNoneListened : kListened; }

  static constexpr int kNoneListened = 20;
  static constexpr int kListened = 21;
  static constexpr int kThreadStarted = 30;
  static constexpr int kThreadEnded = 32;

  copyFileThreadObject& worker_;
  FileCalls& files_;
  std::unique_ptr<WakeableSleep> targetSleep_;  // of the thread that waits for the target
  std::unique_ptr<WakeableSleep> retrySleep_;   // of the listening thread
  std::mutex watchLock_;                        // the controller, for whoever asks for its counts
  watchFileController _watchObject;
  ConditionLock m_listenedArrayLock{kNoneListened};
  std::vector<std::string> m_listenedArray;
  std::vector<std::string> storedEventArray;
  ConditionLock m_fseventThreadLock;
  std::atomic<bool> _fseventThreadStart{false};
  std::atomic<bool> checksTarget_{false};
  std::atomic<bool> wantsWholeRun_{false};
  std::atomic<bool> mountsItself_{false};  // the target is in an image that a run or pass mounts when it is away
  std::thread listeningThread_;
  std::thread targetThread_;
};

// Fills WorkerServices::eventListening. `streams` and `files` outlive the workers.
[[nodiscard]] std::function<std::unique_ptr<EventListening>(copyFileThreadObject&)> makeEventListening(
    FileEventStreams& streams, FileCalls& files);

}  // namespace lumisk
