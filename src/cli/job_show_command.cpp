#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/job_table.h"
#include "cli/json_text.h"
#include "cli/options.h"
#include "cli/store_access.h"

namespace lumisk {
namespace {

struct JobShowOptions {
  std::string name;
  bool json = false;
};

Checked<Ending> jobShow(const JobShowOptions& options, CommandIo& io) {
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  LUMISK_TRY(const std::int32_t index, access.indexOf(options.name));
  const PropertyList job = store->jobs().at(static_cast<std::size_t>(index));
  io.out << (options.json ? printedJson(jsonOfPropertyList(job)) : jobDescription(job, io.clock.now()));
  return Ending::kDone;
}

}  // namespace

void addJobShowCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("show", "Show one job in full");
  auto options = std::make_shared<JobShowOptions>();
  addText(*command, "NAME", options->name, "The job's name")->required();
  addSwitch(*command, "--json", options->json, "Print the stored dictionary as JSON, with its own keys");
  chooseWhenNamed(*command, chosen, options, &jobShow);
}

}  // namespace lumisk
