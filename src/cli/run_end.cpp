#include "cli/run_end.h"

#include <nlohmann/json.hpp>

#include "cli/json_text.h"
#include "cli/run_summary.h"
#include "cli/terminal_dialogs.h"
#include "log/log_file.h"
#include "platform/byte_text.h"

namespace lumisk {

void showRunEnd(const std::string& jobName, const RunReport& report, const RunChoices& choices, RunDisplay& display,
                CommandIo& io) {
  // Every run that is not done says why, also where its dialogs are suppressed or it only looked.
  const bool isExplained = display.messages() > 0 || report.problemText.empty();
  if (!isExplained) {
    TerminalDialogs(display, ConflictChoice::kNewerWins)
        .showPathProblem({report.problemText, report.problemPath, jobName, -1});
  }
  if (choices.json) {
    io.out << printedJson(summaryJson(jobName, report)) << std::flush;
    return;
  }
  if (report.refused) return;
  io.out << summaryText(report, choices.dryRun ? RunKind::kDry : RunKind::kReal);
  const bool hasMoreToRead = report.counts.errors > 0 || report.counts.skipped > 0 || report.counts.losses > 0;
  if (hasMoreToRead && !choices.dryRun) io.out << "Log: " << displayText(jobLogPath(jobName)) << '\n';
  io.out << std::flush;
}

}  // namespace lumisk
