#include "cli/commands.h"
#include "cli/instance.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

// The job that is meant, and who can start and stop it.
struct AskedJob {
  std::string uuid;
  Instance instance;
};

Checked<AskedJob> askedJob(const std::string& name, CommandIo& io) {
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  LUMISK_TRY(const std::int32_t index, access.indexOf(name));
  auto instance = Instance::find();
  if (!instance) return noInstance();
  return AskedJob{store->jobs().at(static_cast<std::size_t>(index))[kUuidStringKey].text(), std::move(*instance)};
}

Checked<Ending> startJob(const NamedJob& options, CommandIo& io) {
  LUMISK_TRY(AskedJob job, askedJob(options.name, io));
  // As its schedule would run it: nobody waits for it.
  LUMISK_TRY(const PropertyList answer, job.instance.ask(RequestAction::kStart, {{kRequestUuidKey, job.uuid}}));
  const RequestResult result = resultOf(answer);
  if (result != RequestResult::kDone && result != RequestResult::kBusy) return refusedBy(answer, options.name);
  if (result == RequestResult::kDone) io.out << "Started the job " << displayText(options.name) << '\n';
  if (result == RequestResult::kBusy) io.out << "The job " << displayText(options.name) << " runs already\n";
  return Ending::kDone;
}

Checked<Ending> stopJob(const NamedJob& options, CommandIo& io) {
  LUMISK_TRY(AskedJob job, askedJob(options.name, io));
  LUMISK_TRY(const PropertyList answer, job.instance.ask(RequestAction::kStop, {{kRequestUuidKey, job.uuid}}));
  if (resultOf(answer) != RequestResult::kDone) return refusedBy(answer, options.name);
  const bool wasRunning = answer[kRunningKey].boolean();
  if (wasRunning) io.out << "Stopping the job " << displayText(options.name) << '\n';
  if (!wasRunning) io.out << "The job " << displayText(options.name) << " does not run\n";
  return Ending::kDone;
}

Checked<Ending> askOfRun(const NamedJob& options, CommandIo& io, RequestAction action, const char* saying) {
  LUMISK_TRY(AskedJob job, askedJob(options.name, io));
  LUMISK_TRY(const PropertyList answer, job.instance.ask(action, {{kRequestUuidKey, job.uuid}}));
  if (resultOf(answer) != RequestResult::kDone) return refusedBy(answer, options.name);
  io.out << saying << displayText(options.name) << '\n';
  return Ending::kDone;
}

Checked<Ending> pauseJob(const NamedJob& options, CommandIo& io) {
  return askOfRun(options, io, RequestAction::kPause, "Pausing the job ");
}

Checked<Ending> resumeJob(const NamedJob& options, CommandIo& io) {
  return askOfRun(options, io, RequestAction::kResume, "Resuming the job ");
}

}  // namespace

void addStartCommands(CLI::App& parent, CommandRun& chosen) {
  addNamedJobCommand(parent, chosen, "start", "Have the running instance run a job now; does not wait for it",
                     &startJob);
  addNamedJobCommand(parent, chosen, "stop", "Have the running instance stop the run of a job", &stopJob);
  addNamedJobCommand(parent, chosen, "pause", "Have the running instance pause the run of a job", &pauseJob);
  addNamedJobCommand(parent, chosen, "resume", "Have the running instance go on with a paused run", &resumeJob);
}

}  // namespace lumisk
