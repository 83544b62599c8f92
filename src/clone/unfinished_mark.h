#pragma once

#include <optional>
#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// Says on the target's root that a clone is writing to it, from before its first change until its data are on the disk.
// A clone that finds one knows that the last was cut off, by a crash perhaps, and that what was changed since the
// mark's time may have its size and date without all of its bytes: such files are compared by content.
//
// It is the extended attribute "trusted.lumisk.clone"; the value is the target's own time, "seconds.nanoseconds". A
// clone that changes nothing sets none. Where the file system keeps no such attribute there is no mark.
class UnfinishedMark {
 public:
  explicit UnfinishedMark(FileCalls& files) : files_(files) {}

  static constexpr const char* kAttribute = "trusted.lumisk.clone";

  void read(int root);
  // Before each change of the target.
  void beforeChange(int root);
  // When all that was written has reached the disk, according to the file system.
  void clear(int root);

  [[nodiscard]] bool wasFound() const { return since_.has_value(); }
  [[nodiscard]] bool anythingChanged() const { return hasChanged_; }
  [[nodiscard]] const std::optional<FileTime>& unfinishedSince() const { return since_; }

 private:
  void set(int root);

  FileCalls& files_;
  std::optional<FileTime> since_;
  bool hasChanged_ = false;
};

// The time in a mark; the beginning of time, so that everything counts, when it cannot be read.
[[nodiscard]] FileTime timeOfMark(const std::string& value);

}  // namespace lumisk
