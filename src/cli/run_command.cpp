#include "cli/commands.h"
#include "cli/options.h"
#include "cli/run_options.h"

namespace lumisk {
namespace {

struct RunCommandOptions {
  std::string name;
  RunFlags run;
};

Checked<Ending> runNamed(const RunCommandOptions& options, CommandIo& io) {
  LUMISK_TRY(const RunChoices choices, runChoices(options.run));
  StoreAccess access(io);
  LUMISK_CHECK(access.read());
  return runStoredJob(access, options.name, choices, io);
}

}  // namespace

void addRunCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("run", "Run a job now and wait for it");
  auto options = std::make_shared<RunCommandOptions>();
  addText(*command, "NAME", options->name, "The job's name")->required();
  addRunFlags(*command, options->run);
  addAcceptFlags(*command, options->run);
  chooseWhenNamed(*command, chosen, options, &runNamed);
}

}  // namespace lumisk
