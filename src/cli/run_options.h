#pragma once

#include <CLI/App.hpp>
#include <string>

#include "cli/terminal_run.h"

namespace lumisk {

// --pace, --dry-run and --json of the commands that run a job.
struct RunFlags {
  std::string pace = "full";
  bool dryRun = false;
  bool json = false;
  bool allowDeletions = false;
  bool acceptTarget = false;
  bool acceptSource = false;
};
void addRunFlags(CLI::App& command, RunFlags& flags);
// Of jobs that are kept, which know their places.
void addAcceptFlags(CLI::App& command, RunFlags& flags);
Checked<RunChoices> runChoices(const RunFlags& flags);

}  // namespace lumisk
