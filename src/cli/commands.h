#pragma once

#include <CLI/App.hpp>

#include "cli/command_io.h"

namespace lumisk {

// Each adds one command, from the file of its name, to the parser; `chosen` becomes what it does when the command line
// names it.
void addBackupCommand(CLI::App& parent, CommandRun& chosen);
void addSyncCommand(CLI::App& parent, CommandRun& chosen);
void addRunCommand(CLI::App& parent, CommandRun& chosen);
void addLogCommand(CLI::App& parent, CommandRun& chosen);
void addVersionsCommand(CLI::App& parent, CommandRun& chosen);
void addRestoreCommand(CLI::App& parent, CommandRun& chosen);
void addVolumesCommand(CLI::App& parent, CommandRun& chosen);
void addDisksCommand(CLI::App& parent, CommandRun& chosen);
void addImageCommand(CLI::App& parent, CommandRun& chosen);  // and all below it
void addDaemonCommand(CLI::App& parent, CommandRun& chosen);
void addStartCommands(CLI::App& parent, CommandRun& chosen);  // and stop
void addStatusCommand(CLI::App& parent, CommandRun& chosen);
void addNextCommand(CLI::App& parent, CommandRun& chosen);
void addSendCommand(CLI::App& parent, CommandRun& chosen);

// Below `lumisk job`.
void addJobAddCommand(CLI::App& parent, CommandRun& chosen);
void addJobListCommand(CLI::App& parent, CommandRun& chosen);
void addJobShowCommand(CLI::App& parent, CommandRun& chosen);
void addJobEditCommand(CLI::App& parent, CommandRun& chosen);
void addJobRenameCommand(CLI::App& parent, CommandRun& chosen);
void addJobRemoveCommand(CLI::App& parent, CommandRun& chosen);
void addJobEnableCommands(CLI::App& parent, CommandRun& chosen);

// `lumisk` alone: the jobs and their state.
Checked<Ending> showJobs(CommandIo& io);

}  // namespace lumisk
