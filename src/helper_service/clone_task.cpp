#include "helper_service/clone_task.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/acting_as.h"
#include "platform/byte_text.h"
#include "platform/end_request.h"
#include "platform/passed_descriptors.h"
#include "platform/system_volumes.h"
#include "platform/untrusted_file.h"

namespace lumisk {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{500};
constexpr int kLooksPerProgress = 2;

Result<void> removeEarlierEnd(const CloneJob& job) {
  LUMISK_TRY(const ActingAs acting, ActingAs::user(job.owner.user, job.owner.group));
  return removeEntry(job.folder.get(), statusFileName(job.name, StatusFile::kEnd));
}

// Looks at the job file and writes the progress for as long as it lives.
class Watch {
 public:
  Watch(CloneStatus& status, const MakeSleep& makeSleep)
      : status_(status), sleep_(makeSleep()), thread_([this] { run(); }) {}
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() {
    isOver_.store(true);
    sleep_->wake();
    thread_.join();
  }

 private:
  void run() {
    for (int look = 0; !isOver_.load(); ++look) {
      status_.lookForCancel();
      if (look % kLooksPerProgress == 0) status_.writeProgress();
      sleep_->sleep(kBetweenLooks);
    }
  }

  CloneStatus& status_;
  std::unique_ptr<WakeableSleep> sleep_;
  std::atomic<bool> isOver_{false};
  std::thread thread_;
};

std::string described(const CloneJob& job) {
  return displayText(fmt::format("{} onto {} ({}) for user {}", job.order.sourcePath, job.order.targetPath,
                                 job.order.targetDevice, job.owner.user));
}

const char* wordFor(CloneReport::End end) {
  switch (end) {
    case CloneReport::End::kFinished:
      return "finished";
    case CloneReport::End::kCancelled:
      return "cancelled";
    case CloneReport::End::kRefused:
      return "refused";
    case CloneReport::End::kFailed:
      break;
  }
  return "failed";
}

}  // namespace

Result<CloneTask> CloneTask::prepare(CloneJob& job, const Seams& seams) {
  LUMISK_TRY(const CloneVolumes volumes, findCloneVolumes(job.order, {job.folderPath}));
  CloneTask task(std::move(job), seams);
  const auto ready = [&]() -> Result<void> {
    LUMISK_CHECK(task.lockVolumes(volumes));
    LUMISK_CHECK(removeEarlierEnd(task.job_));
    LUMISK_TRY(Pipe pipe, makePipe());
    task.alive_ = std::move(pipe.reading);
    task.living_ = std::move(pipe.writing);
    return {};
  }();
  if (ready) return task;
  job = std::move(task.job_);
  return fail(ready.error());
}

// What goes on is the device that was checked, and not a name for it.
Result<void> CloneTask::lockVolumes(const CloneVolumes& volumes) {
  job_.order.targetDevice = volumes.target.node;
  LUMISK_TRY(targetLock_, lockDevice(volumes.target.device, LockKind::kExclusive, seams_.lockFolder));
  LUMISK_TRY(sourceLock_, lockDevice(volumes.source.device, LockKind::kShared, seams_.lockFolder));
  return {};
}

CloneReport CloneTask::watchedClone(CloneStatus& status) {
  const Watch watch(status, seams_.makeSleep);
  return seams_.clone(job_.order, status);
}

void CloneTask::run() {
  const std::string what = described(job_);
  seams_.log("cloning " + what);
  CloneStatus status(job_, noteEndRequests(), seams_.log);
  const CloneReport report = watchedClone(status);
  status.writeEnd(report);
  seams_.log(fmt::format("clone of {}: {}, {} entries, {} copied, {} bytes, {} removed, {} failures{}{}", what,
                         wordFor(report.end), report.entries, report.copied, report.bytes, report.removed,
                         report.failures, report.reason.empty() ? "" : ": ", displayText(report.reason)));
}

}  // namespace lumisk
