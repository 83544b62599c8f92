#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/job_table.h"
#include "cli/json_text.h"
#include "cli/options.h"
#include "cli/store_access.h"

namespace lumisk {
namespace {

struct NextOptions {
  std::string name;  // empty: all jobs
  bool json = false;
};

Checked<PropertyList::Array> askedJobs(const std::string& name, CommandIo& io) {
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  if (name.empty()) return store->jobs();
  LUMISK_TRY(const std::int32_t index, access.indexOf(name));
  return PropertyList::Array{store->jobs().at(static_cast<std::size_t>(index))};
}

Checked<Ending> showNext(const NextOptions& options, CommandIo& io) {
  LUMISK_TRY(const PropertyList::Array jobs, askedJobs(options.name, io));
  const WallTime now = io.clock.now();
  io.out << (options.json ? nextJson(jobs, now) : nextTable(jobs, now));
  return Ending::kDone;
}

}  // namespace

void addNextCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("next", "Show when jobs run next");
  auto options = std::make_shared<NextOptions>();
  addText(*command, "NAME", options->name, "Only this job");
  addSwitch(*command, "--json", options->json, "Print an array of JSON objects");
  chooseWhenNamed(*command, chosen, options, &showNext);
}

}  // namespace lumisk
