#pragma once

#include <deque>
#include <string>

#include "engine/two_way_rule.h"

namespace lumisk {

// The passes over parts of a job that have completed since its last completed run. What one of them has looked at was
// in step on both sides then: for its folders it proves what a run of the whole job does. Belongs to whoever holds the
// lock of the runs.
class CompletedPasses {
 public:
  void add(const std::string& source, const std::string& opposite, const CompletedRun& pass);
  void forget() { passes_.clear(); }
  void forgetAfter(FileTime now);  // the clock was set back: those that ended later
  // The last that looked at the folder; `whole` when none did.
  [[nodiscard]] CompletedRun lastIn(const std::string& folder, const CompletedRun& whole) const;

 private:
  static constexpr std::size_t kMost = 1000;  // the oldest are forgotten: too little is deleted then, never too much
  struct Pass {
    std::string source;
    std::string opposite;
    CompletedRun run;
  };
  std::deque<Pass> passes_;
};

}  // namespace lumisk
