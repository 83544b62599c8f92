#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "engine/job_progress_message.h"

namespace lumisk {

// The last progress of every running job, by its uuid. Any thread may call.
class JobProgressTable {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  // Runs tell their progress for every entry; the faces need it a few times a second.
  static constexpr std::chrono::milliseconds kBetweenTellings{200};

  // What is finished leaves the table. True when the change is to be told: it is the end of a run, or nothing has been
  // told for a while. What was not told is there for whoever asks.
  bool note(const std::string& uuid, const JobProgressMessage& message, Moment now) {
    const std::lock_guard guard(_progressLock);
    if (message.isFinished) {
      _progressDict.erase(uuid);
    } else {
      _progressDict.insert_or_assign(uuid, message);
    }
    const bool isDue = message.isFinished || !lastTold_ || now - *lastTold_ >= kBetweenTellings;
    if (isDue) lastTold_ = now;
    return isDue;
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
  std::optional<Moment> lastTold_;
};

}  // namespace lumisk
