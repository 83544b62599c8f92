#include "cli/commands.h"
#include "cli/job_table.h"
#include "cli/options.h"
#include "cli/store_access.h"

namespace lumisk {
namespace {

struct JobListOptions {
  bool json = false;
};

Checked<Ending> jobList(const JobListOptions& options, CommandIo& io) {
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  const WallTime now = io.clock.now();
  io.out << (options.json ? jobListJson(store->jobs(), now) : jobTable(store->jobs(), now));
  return Ending::kDone;
}

}  // namespace

Checked<Ending> showJobs(CommandIo& io) {
  return jobList({}, io);
}

void addJobListCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("list", "Show all jobs and their state");
  auto options = std::make_shared<JobListOptions>();
  addSwitch(*command, "--json", options->json, "Print an array of JSON objects");
  chooseWhenNamed(*command, chosen, options, &jobList);
}

}  // namespace lumisk
