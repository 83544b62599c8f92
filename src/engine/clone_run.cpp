#include "engine/clone_run.h"

#include <cerrno>

#include "helper/os_status.h"
#include "jobs/clone_checks.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenLooks = 1s;
constexpr int kLooksAfterCancel = 10;
constexpr const char* kHelperError = "Some thing error with lumisk helper";
constexpr const char* kEndedEarly = "the clone has not been completed";
const std::string kSeparator(74, '=');

}  // namespace

CloneRun::CloneRun(const WorkerServices& services, const RunRequest& request, RunSwitches switches, JobLog& log,
                   std::function<void(const JobProgressMessage&)> postProgress)
    : services_(services),
      request_(request),
      info_(request.info),
      switches_(switches),
      log_(log),
      postProgress_(std::move(postProgress)),
      report_(result_.report) {}

RunResult CloneRun::run() {
  const auto started = services_.clock.steadyNow();
  perform();
  if (switches_.m_bTerminateThread) result_.end = RunResult::End::kTerminated;
  report_.cancelled = report_.cancelled || switches_.m_bTerminateThread;
  report_.seconds = std::chrono::duration<double>(services_.clock.steadyNow() - started).count();
  return result_;
}

void CloneRun::perform() {
  services_.clock.sleep(kBetweenLooks);
  if (!checkJob() || !checkVolumes() || !writeJob()) return;
  if (mustStop()) {
    report_.cancelled = true;
    return;
  }
  if (!startHelper()) return;
  poll();
  rememberVolumes();
}

// Before anything is ordered.

bool CloneRun::checkJob() {
  const auto mounts = services_.clone.mounts();
  if (request_.options.dryRun) {
    refuse({}, "a clone cannot be tried out without changing anything");
  } else if (!services_.clone.makeCloner) {
    refuse({}, "nothing is cloned here");
  } else if (!mounts) {
    refuse({}, mounts.error().text());
  } else if (const auto problem = checkCloneJob(info_.name, info_.sourcePaths, info_.targetPaths, *mounts)) {
    refuse(problem->subject, shown(problem->subject) + ": " + problem->reason);
  }
  return !report_.refused;
}

bool CloneRun::checkVolumes() {
  return isKnownVolume(info_.sourcePaths.front(), request_.options.acceptSource, "--accept-source") &&
         isKnownVolume(info_.targetPaths.front(), request_.options.acceptTarget, "--accept-target");
}

// Another disk in the same place would be erased.
bool CloneRun::isKnownVolume(const std::string& path, bool isAccepted, const char* option) {
  if (isAccepted) return true;
  const auto now = fileSystemNow(path);
  if (!now) {
    refuse(path, now.error().text());
  } else if (checkRoot(fileSystemsFromList(info_.rootFileSystems), *now) == RootVerdict::kAnother) {
    refuse(path, shown(path) + ": another volume than before is mounted there; say lumisk run " + shown(info_.name) +
                     " " + option + " if that is meant");
  }
  return !report_.refused;
}

// What a target of before the first clone onto it holds is not this job's to remove. It is learned by cloning: runs
// that were refused, and the choice of another target, leave it new.
bool CloneRun::isNewTarget(const std::string& path) const {
  const auto now = fileSystemNow(path);
  return !now || checkRoot(fileSystemsFromList(info_.rootFileSystems), *now) != RootVerdict::kSame;
}

bool CloneRun::writeJob() {
  const std::string& target = info_.targetPaths.front();
  const auto device = services_.clone.deviceOf(target);
  auto path = cloneJobPath(services_.files, info_.name);
  if (!device || !path) {
    refuse(target, device ? path.error().text() : shown(target) + ": its device cannot be told");
    return false;
  }
  jobFile_ = *path;
  removeCloneStatus(services_.files, jobFile_);
  const bool _needDoWithFileConflict = info_.lastRunTime.empty() || isNewTarget(target);
  job_ = cloneJobDictionary(info_, *device,
                            _needDoWithFileConflict ? CloneType::kLeavesExtras : CloneType::kRemovesExtras, jobFile_);
  log_.write("%s: source volume: %s\n", info_.name.c_str(), shown(info_.sourcePaths.front()).c_str());
  log_.write("%s: target volume: %s\n", info_.name.c_str(), shown(target).c_str());
  if (const auto written = writeCloneJob(services_.files, jobFile_, job_); !written) {
    refuse(jobFile_, written.error().text());
    return false;
  }
  return true;
}

bool CloneRun::startHelper() {
  cloner_ = services_.clone.makeCloner();
  OSStatus status = cloner_->initTheAuthorization();
  log_.write("%s\n", kSeparator.c_str());
  log_.write("%s: Clone started\n", info_.name.c_str());
  if (status == kNoError) status = cloner_->runHelpToolWithXMLPath(jobFile_, [this] { return mustStop(); });
  if (status == kNoError) return true;
  if (mustStop()) {
    cancel();
    return false;
  }
  const auto end = readCloneEnd(jobFile_);  // of an order that was refused, the helper may have said why
  fail(info_.sourcePaths.front(), kHelperError, end && !end->message.empty() ? end->message : statusText(status));
  return false;
}

// While the helper clones.

void CloneRun::poll() {
  for (;;) {
    services_.clock.sleep(kBetweenLooks);
    if (mustStop()) return cancel();
    // First: it says how it ended before it ends.
    const bool isAlive = cloner_->isHelperRunning();
    note(checkCloneStatusWithDict(job_));
    if (_isCloneFinished) return finish();
    if (end_) return fail(info_.targetPaths.front(), kEndedEarly, endText(*end_));
    if (!isAlive) return fail(info_.targetPaths.front(), kEndedEarly, "the helper has ended before it was done");
  }
}

// How long the progress has stood still is known to whoever looks into this process.
void CloneRun::note(double percent) {
  _theSameCount = percent == _totalPercent ? _theSameCount + 1 : 0;
  _totalPercent = percent;
}

double CloneRun::checkCloneStatusWithDict(const PropertyList::Dictionary& job) {
  const std::string source = job.at(kCloneSourceKey).text();
  const std::string file = job.at(kCloneFileKey).text();
  double percent = 0;
  if (const auto target = targetNow(job.at(kCloneTargetKey).text(), job.at(kCloneTargetDeviceKey).text())) {
    const VolumeSize from = services_.clone.sizeOf(source);
    const VolumeSize to = services_.clone.sizeOf(*target);
    const auto usedFrom = static_cast<double>(from.total() - from.free());
    if (usedFrom > 0) percent = static_cast<double>(to.total() - to.free()) / usedFrom * 100.0;
  }
  const RunningClone state = readRunningClone(file);
  auto message = JobProgressMessage::messageWithJobName(info_.name, state.currentFile, percent, 0.0);
  message.entries = report_.counts.entries = state.entries;
  message.bytes = report_.counts.bytes = state.bytes;
  postProgress_(message);
  end_ = readCloneEnd(file);
  if (end_) _isCloneFinished = end_->isFinished;
  if (end_ && end_->counts) {
    report_.counts.entries = end_->counts->entries;
    report_.counts.copied = end_->counts->copied;
    report_.counts.bytes = end_->counts->bytes;
  }
  return percent;
}

// A clone may rename the volume, and then it is mounted elsewhere; the folder where it was mounted may still be there.
std::optional<std::string> CloneRun::targetNow(const std::string& path, const std::string& device) const {
  const auto isHere = [&](const std::string& place) {
    return services_.files.openRoot(place) && services_.clone.deviceOf(place) == device;
  };
  if (isHere(path)) return path;
  const auto mounts = services_.clone.mounts();
  if (!mounts) return std::nullopt;
  for (const MountEntry& mount : volumeMounts(*mounts))
    if (isHere(mount.mountPoint)) return mount.mountPoint;
  return std::nullopt;
}

// The end.

void CloneRun::cancel() {
  report_.cancelled = true;
  job_[kCloneCancelKey] = true;
  if (const auto written = writeCloneJob(services_.files, jobFile_, job_); !written)
    log_.write("%s: ERROR: the clone cannot be told to stop: %s\n", info_.name.c_str(),
               shown(written.error().text()).c_str());
  log_.write("%s: Clone job is canceled.\n", info_.name.c_str());
  for (int i = 0; i < kLooksAfterCancel && cloner_->isHelperRunning(); ++i) services_.clock.sleep(kBetweenLooks);
  if (cloner_->isHelperRunning()) log_.write("%s: WARNING: the helper has not stopped yet\n", info_.name.c_str());
}

void CloneRun::finish() {
  removeCloneStatus(services_.files, jobFile_);
  if (end_->differences > 0)
    return fail(info_.targetPaths.front(), "the clone differs from its source",
                std::to_string(end_->differences) + " differences were found");
  log_.write("%s: Clone completion\n", info_.name.c_str());
  log_.write("%s\n\n", kSeparator.c_str());
  report_.completed = true;
  result_.firstCopyOver = true;
  if (services_.setFirstCopyFlag) services_.setFirstCopyFlag(request_.jobIndex);
  if (info_.scheduling_method == SchedulingMethod::kRealTime) return;  // a clone that is made once goes with its job
  FinishDialog dialog;
  dialog.title = info_.name;
  dialog.message = "Backup has been completed.";
  services_.dialogs.showFinish(dialog);
}

// Erasing makes another file system of the target. One that is not in place, or still worked on, is not learned; nor is
// one that the helper would not touch.
void CloneRun::rememberVolumes() {
  const bool isRefused = end_ && end_->code == BASErrnoToOSStatus(EPERM);
  if (info_.uuidString.empty() || cloner_->isHelperRunning() || isRefused) return;
  const std::string& target = info_.targetPaths.front();
  const auto from = fileSystemNow(info_.sourcePaths.front());
  const auto to = fileSystemNow(target);
  if (!from || !to || services_.clone.deviceOf(target) != job_[kCloneTargetDeviceKey].text()) return;
  const RememberedFileSystems now{*from, *to};
  if (now != fileSystemsFromList(info_.rootFileSystems)) report_.jobKeys[kRootFileSystemsKey] = fileSystemsToList(now);
}

std::string CloneRun::endText(const CloneEnd& end) const {
  return end.message.empty() ? statusText(end.code) : end.message;
}

void CloneRun::refuse(const std::string& path, const std::string& text) {
  report_.refused = true;
  report_.sourceProblem = !info_.sourcePaths.empty() && path == info_.sourcePaths.front();
  report_.targetProblem = !info_.targetPaths.empty() && path == info_.targetPaths.front();
  log_.write("%s: ERROR: The job was not run: %s\n", info_.name.c_str(), text.c_str());
  showProblem(path, text);
}

void CloneRun::fail(const std::string& path, const std::string& message, const std::string& reason) {
  report_.errorCode = RunError::kClone;
  report_.counts.errors = 1;
  const std::string text = message + ": " + shown(reason);
  log_.write("%s: ERROR: %s\n", info_.name.c_str(), text.c_str());
  log_.write("%s\n\n", kSeparator.c_str());
  showProblem(path, text);
}

void CloneRun::showProblem(const std::string& path, const std::string& text) {
  result_.m_bHasError = true;
  report_.problemPath = path;
  report_.problemText = text;
  if (request_.options.dryRun || isSuppressed()) return;
  services_.dialogs.showPathProblem({text, path, info_.name, request_.jobIndex});
}

bool CloneRun::isSuppressed() const {
  return services_.preference && services_.preference("SGSuppressErrorMessages").boolean();
}

}  // namespace lumisk
