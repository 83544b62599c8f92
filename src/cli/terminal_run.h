#pragma once

#include <string>

#include "cli/command_io.h"
#include "cli/store_access.h"
#include "engine/run_report.h"

namespace lumisk {

struct RunChoices {
  PaceKind pace = PaceKind::kFull;
  bool dryRun = false;
  bool json = false;
  // What the user says is meant, this once; RunOptions.
  bool allowDeletions = false;
  bool acceptTarget = false;
  bool acceptSource = false;
};

// What they ask of a run.
[[nodiscard]] RunOptions optionsOf(const RunChoices& choices);

// Runs a job here and now, shows how far it is, and says in the end what was done. A run that is only looked at changes
// nothing, the store included.

// The stored job of this name; its status is kept in the store. Where a running instance holds the store, it is the
// instance that runs the job.
Checked<Ending> runStoredJob(StoreAccess& access, const std::string& name, const RunChoices& choices, CommandIo& io);
// A job that is kept nowhere.
Checked<Ending> runUnstoredJob(const QUORVELPREFERENCEINFO& job, const RunChoices& choices, CommandIo& io);

}  // namespace lumisk
