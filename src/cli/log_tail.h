#pragma once

#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// Reads a log that may grow, be replaced or not be there yet.
class LogTail {
 public:
  LogTail(FileCalls& files, const std::string& path);

  // The next part of what has been written since the last call, from the beginning at the first; empty when there is
  // no more. A log that was started afresh is read from its beginning.
  Result<std::string> next();

 private:
  Result<void> reopenWhenReplaced();

  FileCalls& files_;
  std::string folder_;
  std::string name_;
  Descriptor file_;
  FileIdentity identity_;
};

}  // namespace lumisk
