#pragma once

#include <string>

#include "engine/run_report.h"
#include "engine/run_state.h"

namespace lumisk {

// Notes in a run's report, and in its log, what is wrong with the job's folders. The first problem is the one that is
// told. Belongs to the run's thread.
class RunProblems {
 public:
  RunProblems(RunState& run, RunReport& report) : run_(run), report_(report) {}

  // The run must not be; `path` is the folder at fault, or "". Not logged.
  void refuse(const std::string& path, const std::string& text);
  // A source, in a run that was asked for in this way.
  void noteUnreadable(const std::string& source, CopyMethod method);
  // It is not the one that the job knows, or no longer.
  void noteSource(const std::string& source, const std::string& text);
  void noteTarget(const std::string& target, const std::string& text);
  void note(const std::string& path, const std::string& text);

  [[nodiscard]] bool lastWasTarget() const { return lastWasTarget_; }

 private:
  RunState& run_;
  RunReport& report_;
  bool lastWasTarget_ = false;
};

}  // namespace lumisk
