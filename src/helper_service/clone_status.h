#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "clone/volume_clone.h"
#include "helper_service/job_file.h"

namespace lumisk {

using LogLine = std::function<void(const std::string& line)>;

// What its owner sees of a clone: the two status files beside the job file. All files are touched with the owner's
// rights only. The clone's thread calls what CloneObserver has, another one the two looks.
class CloneStatus final : public CloneObserver {
 public:
  CloneStatus(const CloneJob& job, const std::atomic<bool>& endIsRequested, LogLine log);

  [[nodiscard]] bool isCancelled() override;
  void progressed(const CloneProgress& progress) override;
  void said(const std::string& line) override;  // so many that the log is not flooded

  void lookForCancel();  // what the job file says of "kCancelStatus"; nothing else in it counts any more
  void writeProgress();  // "kEntries", "kBytes", "kCurrentFile"
  // "kFinishCloneJob" (true only for a clone that is complete), "kErrorCode", "kErrorMessage", "kDifferences";
  // "kEntries", "kCopied", "kBytes": how much it was in the end.
  void writeEnd(const CloneReport& report);

 private:
  void write(StatusFile which, const PropertyList::Dictionary& dictionary);

  const CloneJob& job_;
  const std::atomic<bool>& endIsRequested_;
  const LogLine log_;
  std::atomic<bool> isCancelled_{false};
  std::uint64_t lines_ = 0;
  std::mutex mutex_;
  CloneProgress progress_;  // guarded by mutex_
};

// What stands in the file about the end. Pure.
[[nodiscard]] PropertyList::Dictionary endOfClone(const CloneReport& report);
// Of a clone that did not begin.
void writeRefusal(const CloneJob& job, const Error& why, const LogLine& log);

}  // namespace lumisk
