#pragma once

#include <functional>
#include <string>

#include "engine/restore.h"

namespace lumisk {

// Opens versions for looking at: copies that can be read but not written, in a private folder of their own that goes
// with this object. The version itself is never handed to another program. Any thread, one at a time.
class VersionOpener {
 public:
  // Starts what the desktop opens such a file with; tests put in their own.
  using Start = std::function<Result<void>(const std::string& path)>;
  explicit VersionOpener(Start start = startWithDesktop);
  ~VersionOpener();
  VersionOpener(const VersionOpener&) = delete;
  VersionOpener& operator=(const VersionOpener&) = delete;

  // Files and links only. The path of the copy.
  Result<std::string> open(const RestoreServices& services, const Version& version);

  // xdg-open(1), without a shell.
  static Result<void> startWithDesktop(const std::string& path);

 private:
  Result<std::string> freshFolder();

  Start start_;
  std::string folder_;  // made when it is needed first
  int opened_ = 0;
};

// Shows the file or folder in the file manager; "" was done, else why not in one line. Does not wait for it.
std::string showInFileManager(const std::string& path);

}  // namespace lumisk
