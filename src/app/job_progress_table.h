#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "engine/job_progress_message.h"

namespace lumisk {

// The last progress of every running job, by its uuid. Any thread may call.
class JobProgressTable {
 public:
  // What is finished leaves the table. True when nobody has been told of a change since the last told().
  bool note(const std::string& uuid, const JobProgressMessage& message) {
    const std::lock_guard guard(_progressLock);
    if (message.isFinished) {
      _progressDict.erase(uuid);
    } else {
      _progressDict.insert_or_assign(uuid, message);
    }
    return !std::exchange(isToBeTold_, true);
  }
  void told() {
    const std::lock_guard guard(_progressLock);
    isToBeTold_ = false;
  }
  void forget(const std::string& uuid) {
    const std::lock_guard guard(_progressLock);
    _progressDict.erase(uuid);
  }
  [[nodiscard]] std::optional<JobProgressMessage> of(const std::string& uuid) {
    const std::lock_guard guard(_progressLock);
    const auto found = _progressDict.find(uuid);
    return found == _progressDict.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  std::mutex _progressLock;
  std::map<std::string, JobProgressMessage> _progressDict;
  bool isToBeTold_ = false;
};

}  // namespace lumisk
