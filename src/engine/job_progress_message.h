#pragma once

#include <cstdint>
#include <string>

namespace lumisk {

// The object of a "ProgressCellDataNotification": how far a run is. A value.
struct JobProgressMessage {
  std::string jobName;
  std::string fileName;      // last component of what is being copied; empty when finished
  double totalPercent = 0;   // 0..100
  double backupPercent = 0;  // of the current file
  bool isFinished = false;
  std::uint64_t entries = 0;  // handled so far
  std::uint64_t entriesTotal = 0;
  std::uint64_t bytes = 0;  // copied so far

  static JobProgressMessage finishedMessageWithJobName(const std::string& jobName);
  static JobProgressMessage messageWithJobName(const std::string& jobName, const std::string& fileName,
                                               double totalPercent, double backupPercent);
};

}  // namespace lumisk
