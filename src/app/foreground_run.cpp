#include "app/foreground_run.h"

#include <cerrno>
#include <csignal>

#include "app/stored_run_status.h"

namespace lumisk {
namespace {

class ForegroundRun {
 public:
  ForegroundRun(MainLoop& loop, const WorkerServices& services, std::int32_t index, const ForegroundEvents& events)
      : loop_(loop), notifications_(services.notifications), index_(index), events_(events), worker_(services) {}

  Result<RunReport> run(const PropertyList::Array& jobs, const RunOptions& options);

 private:
  void observe();
  void stopRequested();
  void finish();

  MainLoop& loop_;
  NotificationCenter& notifications_;
  const std::int32_t index_;
  PropertyList::Dictionary userInfo_;
  const ForegroundEvents& events_;
  int stopRequests_ = 0;
  // Before the observations, which go first: no observer is called when the worker goes.
  copyFileThreadObject worker_;
  std::vector<NotificationCenter::Observation> observations_;
  std::vector<MainLoop::SourceHandle> signals_;
};

Result<RunReport> ForegroundRun::run(const PropertyList::Array& jobs, const RunOptions& options) {
  if (!worker_.fetchCurrentInfo(jobs, index_)) return fail("read the job", "", EINVAL);
  userInfo_[kJobUuidKey] = jobs.at(static_cast<std::size_t>(index_))[kUuidStringKey].text();
  observe();
  worker_.setRunOptions(options);
  if (!worker_.start()) return fail("start the run", "", EAGAIN);
  worker_.setCopyMethod(CopyMethod::kNormal);
  loop_.run();
  return worker_.lastReport();
}

void ForegroundRun::observe() {
  observations_.push_back(notifications_.observe(kProgressNotification, [this](const Notification& notification) {
    const auto* message = std::any_cast<JobProgressMessage>(&notification.object);
    if (message && events_.onProgress) loop_.perform([this, shown = *message] { events_.onProgress(shown); });
  }));
  observations_.push_back(notifications_.observe(kScheduleNotification,
                                                 [this](const Notification&) { loop_.perform([this] { finish(); }); }));
  for (const int signal : {SIGINT, SIGTERM}) {
    signals_.push_back(loop_.onSignal(signal, [this] { stopRequested(); }));
  }
}

void ForegroundRun::stopRequested() {
  ++stopRequests_;
  notifications_.post({kCancelNotification, index_, userInfo_});
  notifications_.post({kUserCancelNotification, index_, userInfo_});
  if (events_.onStopRequest) events_.onStopRequest(stopRequests_);
}

// The worker still has notifications to post after this one; once its thread has ended, whatever they made others
// ask of the loop stands before the end of the loop.
void ForegroundRun::finish() {
  worker_.stop();
  loop_.perform([this] { loop_.quit(); });
}

// A run of its own has no schedule, and nothing listens for it.
PropertyList::Array withoutSchedule(PropertyList::Array jobs, std::int32_t index) {
  if (index < 0 || static_cast<std::size_t>(index) >= jobs.size()) return jobs;
  auto& job = jobs[static_cast<std::size_t>(index)].mutableDictionary();
  job[kSchedulingKey].mutableDictionary()[kMethodKey] = static_cast<int>(SchedulingMethod::kNone);
  return jobs;
}

}  // namespace

Result<RunReport> runInForeground(MainLoop& loop, const WorkerServices& services, PropertyList::Array jobs,
                                  std::int32_t index, const RunOptions& options, const ForegroundEvents& events) {
  ForegroundRun run(loop, services, index, events);
  return run.run(withoutSchedule(std::move(jobs), index), options);
}

}  // namespace lumisk
