#pragma once

#include <string>

#include "schedule/plugin_list.h"

namespace lumisk {

// While it lives, jobs with a source at the destination, above or below it begin no run, in whatever process their
// schedulers are: the list that the file manager's plug-in shares says that something is restored there. A process that
// ends in the middle holds nothing off. A list that cannot be written is no reason not to restore: the targets are
// locked against runs, too (lockTargets()). Any thread.
class RestoreHold {
 public:
  RestoreHold(std::string pluginListPath, const std::string& from, const std::string& to);
  ~RestoreHold();
  RestoreHold(const RestoreHold&) = delete;
  RestoreHold& operator=(const RestoreHold&) = delete;

 private:
  const PluginList list_;
  const std::string id_;
};

}  // namespace lumisk
