#include "cli/commands.h"
#include "cli/instance.h"
#include "cli/job_setup.h"
#include "cli/options.h"

namespace lumisk {
namespace {

struct SendOptions {
  std::int32_t action = 0;
  std::vector<std::string> paths;
};

Checked<Ending> send(const SendOptions& options, CommandIo& io) {
  const auto action = static_cast<RequestAction>(options.action);
  if (action != RequestAction::kAddSources && action != RequestAction::kNewJob) {
    return refuse("--action " + std::to_string(options.action), "give 101 or 102");
  }
  LUMISK_TRY(const auto paths, absolutePaths(options.paths, io));
  auto instance = Instance::find();
  if (!instance) return noInstance();
  PropertyList::Array selected(paths.begin(), paths.end());
  LUMISK_TRY(const PropertyList answer, instance->ask(action, {{kSelectedArrayKey, std::move(selected)}}));
  if (resultOf(answer) != RequestResult::kDone) return refusedBy(answer, "send");
  return Ending::kDone;
}

}  // namespace

void addSendCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("send", "Hand paths to the running instance, as file managers do");
  auto options = std::make_shared<SendOptions>();
  command->add_option("--action", options->action, "101: add them to a job as sources; 102: make a job of them")
      ->required()
      ->option_text("101|102");
  addTexts(*command, "PATHS", options->paths, "The files and folders")->required()->option_text("(PATH...)");
  chooseWhenNamed(*command, chosen, options, &send);
}

}  // namespace lumisk
