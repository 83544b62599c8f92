#pragma once

#include <functional>
#include <string>

#include "helper_service/clone_status.h"
#include "helper_service/clone_volumes.h"
#include "helper_service/job_file.h"
#include "platform/descriptor.h"
#include "platform/wakeable_sleep.h"

namespace lumisk {

using CloneVolume = std::function<CloneReport(const CloneOrder& order, CloneObserver& observer)>;

// A clone that was checked and holds its locks, and what it takes to carry it out in a process of its own.
class CloneTask {
 public:
  struct Seams {
    CloneVolume clone;
    LogLine log;
    MakeSleep makeSleep = makeRealSleep;
    std::string lockFolder = "/run/lumisk-helper";
  };

  // The volumes are looked at and locked against other clones (EBUSY): the target for itself, the source with others.
  // The end of an earlier clone of the same job file is removed.
  static Result<CloneTask> prepare(CloneJob& job, const Seams& seams);

  // The reading end of a pipe that comes to its end with the task. Once.
  [[nodiscard]] Descriptor takeAlive() { return std::move(alive_); }
  void run();  // to the end of the clone; never fails, the status files tell

 private:
  CloneTask(CloneJob job, const Seams& seams) : job_(std::move(job)), seams_(seams) {}
  Result<void> lockVolumes(const CloneVolumes& volumes);
  CloneReport watchedClone(CloneStatus& status);

  CloneJob job_;
  Seams seams_;
  Descriptor sourceLock_;
  Descriptor targetLock_;
  Descriptor alive_;
  Descriptor living_;
};

}  // namespace lumisk
