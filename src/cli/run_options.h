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
};
void addRunFlags(CLI::App& command, RunFlags& flags);
Checked<RunChoices> runChoices(const RunFlags& flags);

}  // namespace lumisk
