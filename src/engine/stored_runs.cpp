#include "engine/stored_runs.h"

#include "platform/calendar_date.h"

namespace lumisk {

bool lastRunDidNotComplete(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info) {
  if (info.lastBeginTime.empty()) return false;
  const auto began = CalendarDate::parse(info.lastBeginTime);
  const auto completed = CalendarDate::parse(info.lastCompletedBegin);
  return !began || !completed || completed->time() < began->time();
}

std::optional<CompletedRun> lastCompletedRun(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info) {
  const bool isKnown = info.lastCompletedBeginNanoseconds > 0 && info.lastCompletedEndNanoseconds > 0;
  if (!isKnown || info.lastCompletedBegin.empty()) return std::nullopt;
  return CompletedRun{fileTimeOf(info.lastCompletedBeginNanoseconds), fileTimeOf(info.lastCompletedEndNanoseconds)};
}

FileTime fileTimeOf(std::int64_t nanoseconds) {
  constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
  return {nanoseconds / kNanosecondsPerSecond, static_cast<std::uint32_t>(nanoseconds % kNanosecondsPerSecond)};
}

std::int64_t nanosecondsOf(WallTime time) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

}  // namespace lumisk
