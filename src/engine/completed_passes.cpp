#include "engine/completed_passes.h"

#include <algorithm>

#include "platform/paths.h"

namespace lumisk {

void CompletedPasses::add(const std::string& source, const std::string& opposite, const CompletedRun& pass) {
  std::erase_if(passes_, [&](const Pass& known) { return paths::isInside(known.source, source); });
  passes_.push_back({source, opposite, pass});
  if (passes_.size() > kMost) passes_.pop_front();
}

void CompletedPasses::forgetAfter(FileTime now) {
  std::erase_if(passes_, [&](const Pass& known) { return known.run.end > now; });
}

CompletedRun CompletedPasses::lastIn(const std::string& folder, const CompletedRun& whole) const {
  CompletedRun last = whole;
  for (const Pass& pass : passes_) {
    const bool isOfFolder = paths::isInside(folder, pass.source) || paths::isInside(folder, pass.opposite);
    if (isOfFolder && pass.run.begin > last.begin) last = pass.run;
  }
  return last;
}

}  // namespace lumisk
