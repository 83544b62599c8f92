#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// A clone of a whole volume, as it was ordered. The paths are mount points that the caller may use as root.
struct CloneOrder {
  std::string sourcePath;
  std::string targetPath;
  std::string targetDevice;  // "/dev/loop1" or "loop1"; must be what is mounted at the target
  bool formatVolume = false;
  bool repairPermissions = false;
  bool verify = false;
  bool removesExtras = true;  // what the source no longer has
};

struct CloneProgress {
  std::uint64_t entries = 0;
  std::uint64_t bytes = 0;  // written
  std::string current;      // path below the source
};

// Whoever ordered the clone. Called from the clone's thread, often.
class CloneObserver {
 public:
  virtual ~CloneObserver() = default;
  [[nodiscard]] virtual bool isCancelled() = 0;
  virtual void progressed(const CloneProgress& progress) = 0;
  virtual void said(const std::string& line) = 0;  // for the log: one problem or difference each
};

struct CloneReport {
  enum class End : std::uint8_t {
    kFinished,   // everything is there and on the disk
    kCancelled,  // the target can be mounted and the next clone goes on from here
    kRefused,    // nothing was touched; `reason` says why
    kFailed,     // ended in the middle, or some entries could not be carried
  };
  End end = End::kFailed;
  std::string reason;  // one line; empty when finished
  std::uint64_t entries = 0;
  std::uint64_t copied = 0;
  std::uint64_t bytes = 0;
  std::uint64_t removed = 0;
  std::uint64_t repaired = 0;
  std::uint64_t differences = 0;  // found by verifying
  std::uint64_t failures = 0;
};

// Runs as root, on the calling thread; returns when the data are on the disk. No exception, no logging but through the
// observer.
[[nodiscard]] CloneReport cloneVolume(FileCalls& files, const CloneOrder& order, CloneObserver& observer);

}  // namespace lumisk
