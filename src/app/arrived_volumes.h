#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/result.h"
#include "platform/user_dialogs.h"

namespace lumisk {

// Volumes that came, and the runs that were started by it. When the last of a volume's runs has ended well and one of
// the jobs wants it, the volume is unmounted, by a thread of its own, since the disk may take long.
//
// Main thread only, but for `told`, which is called on the other thread.
class ArrivedVolumes {
 public:
  using Unmount = std::function<Result<void>(const std::string& mountPath)>;
  using Told = std::function<void(const VolumeNotice& notice)>;
  ArrivedVolumes(Unmount unmount, Told told) : unmount_(std::move(unmount)), told_(std::move(told)) {}
  ~ArrivedVolumes();  // waits for what is being unmounted
  ArrivedVolumes(const ArrivedVolumes&) = delete;
  ArrivedVolumes& operator=(const ArrivedVolumes&) = delete;

  enum class AfterRun { kStays, kIsUnmounted };
  void runStarted(const std::string& uuid, const std::string& mountPath, AfterRun wanted);
  // Nothing for a job that no arrival has started. After a run that did not complete the volume stays, for its user to
  // look at.
  enum class RunEnd { kCompleted, kNotCompleted };
  void runEnded(const std::string& uuid, const std::string& jobName, RunEnd end);

 private:
  struct Volume {
    std::set<std::string> running;  // uuids
    bool isToGo = false;
    bool hasFailed = false;
  };
  void unmount(const std::string& mountPath, const std::string& jobName);

  Unmount unmount_;
  Told told_;
  std::map<std::string, Volume> volumes_;  // by mount path
  std::vector<std::thread> threads_;
};

}  // namespace lumisk
