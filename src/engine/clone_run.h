#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "engine/clone_job_file.h"
#include "engine/remembered_file_systems.h"
#include "engine/run_sequence.h"

namespace lumisk {

// One run of a clone, from its order to the root helper to its end. Copies nothing itself: it writes the job file, has
// the helper begin, and looks once a second how full the target is and whether the helper has said how it ended. Lives
// on the worker's thread for the time of the run.
//
// Nothing is ordered unless source and target are the volumes that the job knows. A cancel is told through the job
// file; then the helper is waited for, a few seconds at most, because another run would take the cancel back.
class CloneRun {
 public:
  CloneRun(const WorkerServices& services, const RunRequest& request, RunSwitches switches, JobLog& log,
           std::function<void(const JobProgressMessage&)> postProgress);
  RunResult run();

  // One look: how full the target is compared with the source, in percent, posted as progress; whether the clone has
  // ended. 0 while the target cannot be found.
  double checkCloneStatusWithDict(const PropertyList::Dictionary& job);

  [[nodiscard]] bool isCloneFinished() const { return _isCloneFinished; }
  [[nodiscard]] int theSameCount() const { return _theSameCount; }

 private:
  void perform();
  [[nodiscard]] bool checkJob();
  [[nodiscard]] bool checkVolumes();
  [[nodiscard]] bool isKnownVolume(const std::string& path, bool isAccepted, const char* option);
  [[nodiscard]] bool isNewTarget(const std::string& path) const;
  [[nodiscard]] bool writeJob();
  [[nodiscard]] bool startHelper();
  void poll();
  void note(double percent);
  void cancel();
  void finish();
  void rememberVolumes();

  void refuse(const std::string& path, const std::string& text);
  void fail(const std::string& path, const std::string& message, const std::string& reason);
  void showProblem(const std::string& path, const std::string& text);
  [[nodiscard]] std::string endText(const CloneEnd& end) const;
  [[nodiscard]] std::optional<std::string> targetNow(const std::string& path, const std::string& device) const;
  [[nodiscard]] bool mustStop() const { return switches_.m_bTerminateThread || switches_.m_bCanceled; }
  [[nodiscard]] bool isSuppressed() const;

  const WorkerServices& services_;
  const RunRequest& request_;
  const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info_;
  RunSwitches switches_;
  JobLog& log_;
  std::function<void(const JobProgressMessage&)> postProgress_;
  std::unique_ptr<VolumeCloner> cloner_;
  std::string jobFile_;
  PropertyList::Dictionary job_;
  std::optional<CloneEnd> end_;
  double _totalPercent = 0;
  int _theSameCount = 0;
  bool _isCloneFinished = false;
  RunResult result_;
  RunReport& report_;  // result_'s
};

}  // namespace lumisk
