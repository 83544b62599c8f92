#include "cli/run_options.h"

#include "cli/options.h"

namespace lumisk {

void addRunFlags(CLI::App& command, RunFlags& flags) {
  addText(command, "--pace", flags.pace, "full (the default here), or gentle: hardly felt by other programs")
      ->option_text("gentle|full");
  addSwitch(command, "--dry-run", flags.dryRun, "Say what would be copied, replaced or left out, and change nothing");
  addSwitch(command, "--allow-deletions", flags.allowDeletions,
            "Carry out this run's deletions even if they are so many that they would be held back");
  addSwitch(command, "--json", flags.json, "Print the outcome as one JSON object");
}

void addAcceptFlags(CLI::App& command, RunFlags& flags) {
  addSwitch(command, "--accept-target", flags.acceptTarget,
            "The target is meant although it is not the folder that was written to before");
  addSwitch(command, "--accept-source", flags.acceptSource,
            "The sources are meant although they are on another file system than before");
}

Checked<RunChoices> runChoices(const RunFlags& flags) {
  RunChoices choices{PaceKind::kFull,      flags.dryRun,       flags.json,
                     flags.allowDeletions, flags.acceptTarget, flags.acceptSource};
  if (flags.pace == "gentle") {
    choices.pace = PaceKind::kGentle;
  } else if (flags.pace != "full") {
    return refuse("--pace " + flags.pace, "give gentle or full");
  }
  return choices;
}

}  // namespace lumisk
