#include "cli/instance_run.h"

#include <csignal>

#include "cli/run_display.h"
#include "cli/run_end.h"
#include "cli/run_summary.h"

namespace lumisk {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{200};

class FollowedRun {
 public:
  FollowedRun(Instance& instance, const QUORVELPREFERENCEINFO& job, const RunChoices& choices, CommandIo& io)
      : instance_(instance),
        job_(job),
        choices_(choices),
        io_(io),
        display_(io, choices.json ? RunDisplay::Progress::kNever : RunDisplay::Progress::kOnTerminal) {}

  Checked<Ending> run();

 private:
  Checked<PropertyList> ask(RequestAction action, PropertyList::Dictionary request = {});
  Checked<void> start();
  Checked<void> joinOtherRun(const PropertyList& answer);
  void look();
  void stopRequested();
  void end(Checked<Ending> how);

  Instance& instance_;
  const QUORVELPREFERENCEINFO& job_;
  const RunChoices choices_;
  CommandIo& io_;
  RunDisplay display_;
  PropertyList endedRuns_;
  int stopRequests_ = 0;
  std::optional<RunReport> report_;
  Checked<Ending> ending_ = Ending::kDone;
};

Checked<Ending> FollowedRun::run() {
  LUMISK_CHECK(start());
  {
    const auto interrupted = io_.loop.onSignal(SIGINT, [this] { stopRequested(); });
    const auto terminated = io_.loop.onSignal(SIGTERM, [this] { stopRequested(); });
    const auto looking = io_.loop.every(kBetweenLooks, [this] { look(); });
    io_.loop.run();
  }
  display_.clearProgress();
  if (!report_) return ending_;
  showRunEnd(job_.name, *report_, choices_, display_, io_);
  return endingOf(*report_);
}

Checked<PropertyList> FollowedRun::ask(RequestAction action, PropertyList::Dictionary request) {
  request[kRequestUuidKey] = job_.uuidString;
  return instance_.ask(action, std::move(request));
}

Checked<void> FollowedRun::start() {
  const RunOptions options = optionsOf(choices_);
  LUMISK_TRY(const PropertyList answer, ask(RequestAction::kStart, {{kRequestOptionsKey, dictionaryOf(options)}}));
  endedRuns_ = answer[kEndedRunsKey];
  if (resultOf(answer) == RequestResult::kBusy) return joinOtherRun(answer);
  if (resultOf(answer) != RequestResult::kDone) return refusedBy(answer, job_.name);
  return {};
}

Checked<void> FollowedRun::joinOtherRun(const PropertyList& answer) {
  // Said without a message: those count as the explanation of a run that fails.
  io_.err << complaintLine({Ending::kDone, job_.name, "it runs already; this is how that run goes"}) << std::endl;
  if (!answer[kEndedRunsKey].isNone()) return {};
  LUMISK_TRY(const PropertyList status, instance_.ask(RequestAction::kStatus));
  for (const PropertyList& job : status[kJobsKey].array()) {
    if (job[kRequestUuidKey].text() == job_.uuidString) endedRuns_ = job[kEndedRunsKey];
  }
  return {};
}

void FollowedRun::look() {
  auto answer = ask(RequestAction::kFollow, {{kEndedRunsKey, endedRuns_}});
  if (!answer) return end(fail(answer.error()));
  if (resultOf(*answer) != RequestResult::kDone) return end(refusedBy(*answer, job_.name));
  if ((*answer)[kEndedKey].boolean()) {
    report_ = runReportOf((*answer)[kReportKey]);
    return end(Ending::kDone);
  }
  const PropertyList& progress = (*answer)[kProgressKey];
  if (progress.isNone()) return;
  JobProgressMessage message = progressMessageOf(progress);
  if ((*answer)[kPausedKey].boolean()) message.fileName = "(paused)";
  display_.progress(message);
}

void FollowedRun::stopRequested() {
  if (++stopRequests_ > 1) {
    display_.message(job_.name, "left; the run goes on stopping");
    return end(Ending::kCancelled);
  }
  display_.message(job_.name, "stopping");
  const auto answer = ask(RequestAction::kStop);
  if (!answer) return end(fail(answer.error()));
  if (resultOf(*answer) != RequestResult::kDone) end(refusedBy(*answer, job_.name));
}

void FollowedRun::end(Checked<Ending> how) {
  ending_ = std::move(how);
  io_.loop.quit();
}

}  // namespace

Checked<Ending> runThroughInstance(Instance& instance, const QUORVELPREFERENCEINFO& job, const RunChoices& choices,
                                   CommandIo& io) {
  FollowedRun run(instance, job, choices, io);
  return run.run();
}

}  // namespace lumisk
