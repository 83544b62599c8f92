#include "cli/commands.h"
#include "cli/instance.h"
#include "cli/job_status.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "schedule/job_health.h"

namespace lumisk {
namespace {

struct StatusOptions {
  bool json = false;
};

// What the instance says of this job; kNone when it does not know it.
const PropertyList& liveStateOf(const PropertyList& job, const PropertyList& answer) {
  for (const PropertyList& live : answer[kJobsKey].array()) {
    if (live[kRequestUuidKey] == job[kUuidStringKey]) return live;
  }
  static const PropertyList kUnknown;
  return kUnknown;
}

JobState stateOf(const PropertyList& job, const PropertyList& answer, const Surroundings& surroundings, WallTime now) {
  JobState state;
  state.job = job;
  const PropertyList& live = liveStateOf(job, answer);
  state.running = live[kRunningKey].boolean();
  state.paused = state.running && live[kPausedKey].boolean();
  if (state.running && !live[kProgressKey].isNone()) state.progress = progressMessageOf(live[kProgressKey]);
  state.folders = {live[kWatchedFoldersKey].unsignedInteger(), live[kRescannedFoldersKey].unsignedInteger()};
  state.missed = missedRun(job, now);
  state.overdue = overdue(job, now);
  state.waitingFor = waitingFor(job, surroundings);
  return state;
}

// One that ends while it is asked has ended.
PropertyList instanceAnswer() {
  auto instance = Instance::find();
  if (!instance) return {};
  auto answer = instance->ask(RequestAction::kStatus);
  return answer && resultOf(*answer) == RequestResult::kDone ? *answer : PropertyList();
}

Checked<Ending> showStatus(const StatusOptions& options, CommandIo& io) {
  const PropertyList answer = instanceAnswer();
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  InstanceState state{!answer.isNone(), {}};
  const Surroundings surroundings = surroundingsOfThisComputer();
  const WallTime now = io.clock.now();
  for (const PropertyList& job : store->jobs()) state.jobs.push_back(stateOf(job, answer, surroundings, now));
  io.out << (options.json ? statusJson(state, now) : statusTable(state, now));
  return Ending::kDone;
}

}  // namespace

void addStatusCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("status", "Show whether an instance runs, and how each job does");
  auto options = std::make_shared<StatusOptions>();
  addSwitch(*command, "--json", options->json, "Print one JSON object");
  chooseWhenNamed(*command, chosen, options, &showStatus);
}

}  // namespace lumisk
