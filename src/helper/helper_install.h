#pragma once

#include <string>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// What the install tool does, as root.
struct InstallOrder {
  enum class Kind {
    kInstall,  // the tool and all descriptions are put in place, whatever stood there, then as kEnable
    kEnable,   // what is in place is started, from then on at every start of the machine
  };
  Kind kind = Kind::kInstall;
  std::string bundleIdentifier;
  std::string toolPath;  // of the helper tool to be copied: a regular file that only its owner may write
  std::string
      destination;  // an existing folder that stands for "/"; then nothing is started. "" for the machine itself
};

// Every file is replaced in one step and is on the disk afterwards. Folders that are missing are made with mode 0755;
// one that others may write is refused with EPERM, because what stands in it runs as root.
Result<void> carryOutInstall(FileCalls& files, const InstallOrder& order);

// The output of the install tool, which whoever started it reads: `installHandshake` first, `installFailure` when it
// failed.
[[nodiscard]] std::string installHandshake(std::int64_t process);
[[nodiscard]] std::string installFailure(int code);
struct InstallOutcome {
  bool hasShakenHands = false;
  int failure = 0;
};
[[nodiscard]] InstallOutcome outcomeOfInstall(const std::string& output);

}  // namespace lumisk
