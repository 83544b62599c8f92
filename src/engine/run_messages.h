#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/run_report.h"

namespace lumisk {

// What is shown at the end of a run: decided here from what happened, without looking at anything else.

struct EndOfRun {
  const QUORVELPREFERENCEINFOtag_CopyFileObjectPart* info = nullptr;
  std::int32_t jobIndex = -1;
  CopyMethod method = CopyMethod::kNormal;
  const RunReport* report = nullptr;
  bool lastProblemWasTarget = false;
  bool neededShowFinishDialog = false;
  bool runByFindTarget = false;
  bool suppressed = false;         // needSuppressWarningMessage
  bool pathDialogIsOff = false;    // bit 0x8000 of the job's status bits
  bool imageNeedsItsUser = false;  // the target lies in an image that the keychain cannot open
};

struct RunMessages {
  bool hasError = false;       // drives the "ErrorMessage" notification
  bool firstCopyOver = false;  // the job's first copy is done
  bool finishDialogShown = false;
  std::optional<std::string> warning;
  std::optional<FinishDialog> finish;
  std::optional<PathProblem> pathProblem;
};

[[nodiscard]] RunMessages decideRunMessages(const EndOfRun& end);

// The percentage of the volume that is in use, when less of it is free than a job's threshold wants.
[[nodiscard]] std::optional<int> checkIfNeedShowWarnningWindow(const SpaceStatus& space, int capacityPercentage);
[[nodiscard]] std::string capacityWarning(const std::string& target, int usedPercent);

inline constexpr const char* kTargetMessage = "Destination folder isn't writable or does not exist.";
inline constexpr const char* kWarningTitle = "Warning";
inline constexpr const char* kNoSpaceMessage =
    "You may have an incomplete backup because there is not enough free space.";
inline constexpr std::uint32_t kPathDialogOffBit = 0x8000;  // of a job's status bits; stored, do not change

}  // namespace lumisk
