#include "cli/run_options.h"

#include "cli/options.h"

namespace lumisk {

void addRunFlags(CLI::App& command, RunFlags& flags) {
  addText(command, "--pace", flags.pace, "full (the default here), or gentle: hardly felt by other programs")
      ->option_text("gentle|full");
  addSwitch(command, "--dry-run", flags.dryRun, "Say what would be copied, replaced or left out, and change nothing");
  addSwitch(command, "--json", flags.json, "Print the outcome as one JSON object");
}

Checked<RunChoices> runChoices(const RunFlags& flags) {
  RunChoices choices{PaceKind::kFull, flags.dryRun, flags.json};
  if (flags.pace == "gentle") {
    choices.pace = PaceKind::kGentle;
  } else if (flags.pace != "full") {
    return refuse("--pace " + flags.pace, "give gentle or full");
  }
  return choices;
}

}  // namespace lumisk
