#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// Reads a log that may grow, be emptied, be replaced or not be there yet.
class LogTail {
 public:
  // mostOfOld: how much of what a log holds already is read, from a line's beginning on; the rest is passed by.
  LogTail(FileCalls& files, const std::string& path,
          std::uint64_t mostOfOld = std::numeric_limits<std::uint64_t>::max());

  // The next part of what has been written since the last call, from the beginning at the first; empty when there is
  // no more. A log that was started afresh is read from its beginning.
  Result<std::string> next();
  // What is there the next time is read from its beginning.
  void startAgain() { file_ = {}; }
  // How often reading has begun: what came before the last time is no longer in the log.
  [[nodiscard]] std::uint64_t beginnings() const { return beginnings_; }

 private:
  Result<void> reopenWhenReplaced();
  Result<void> passByOld(std::uint64_t size);
  Result<std::string> read();

  FileCalls& files_;
  std::string folder_;
  std::string name_;
  const std::uint64_t mostOfOld_;
  Descriptor file_;
  FileIdentity identity_;
  std::uint64_t position_ = 0;
  std::uint64_t beginnings_ = 0;
  bool isInsideLine_ = false;  // the rest of the line that the passed-by part ends in is left out
};

}  // namespace lumisk
