#pragma once

#include <string>

#include "cli/run_display.h"
#include "cli/terminal_run.h"
#include "engine/run_report.h"

namespace lumisk {

// What is said when a run has ended, wherever it ran: the problem, where nothing else has told it, and the summary.
void showRunEnd(const std::string& jobName, const RunReport& report, const RunChoices& choices, RunDisplay& display,
                CommandIo& io);

}  // namespace lumisk
