#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "clone/volume_clone.h"
#include "platform/volume.h"
#include "support/mounted_volume.h"

namespace lumisk::test {

// Notes what is said; a test says when it cancels.
class RecordingObserver : public CloneObserver {
 public:
  bool isCancelled() override { return cancelWhen && cancelWhen(); }
  void progressed(const CloneProgress& progress) override {
    last = progress;
    if (atProgress) atProgress(progress);
  }
  void said(const std::string& line) override { lines.push_back(line); }
  [[nodiscard]] bool hasSaid(const std::string& part) const {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.find(part) != std::string::npos; });
  }

  std::function<bool()> cancelWhen;
  std::function<void(const CloneProgress&)> atProgress;
  std::vector<std::string> lines;
  CloneProgress last;
};

inline std::string deviceOf(const std::string& mountPoint) {
  const auto mount = volume::mountHolding(mountPoint);
  return mount ? volume::deviceOf(*mount).node : "";
}

inline CloneOrder orderFor(const std::string& source, const std::string& target) {
  CloneOrder order;
  order.sourcePath = source;
  order.targetPath = target;
  order.targetDevice = deviceOf(target);
  return order;
}

// What an independent tool still finds to do: empty when the target is the source's exact copy.
inline std::string differencesByRsync(const std::string& source, const std::string& target) {
  const std::string command = "rsync -aAXHn --delete -i --exclude=/lost+found '" + source + "/' '" + target +
                              "/' 2>&1 | grep -v 'skipping non-regular' | head -20";
  std::string text;
  if (FILE* pipe = ::popen(command.c_str(), "r")) {
    char line[4096];
    while (std::fgets(line, sizeof line, pipe) != nullptr) text += line;
    ::pclose(pipe);
  }
  return text;
}

}  // namespace lumisk::test
