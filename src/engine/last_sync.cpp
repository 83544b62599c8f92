#include "engine/last_sync.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include "engine/stored_runs.h"
#include "engine/wait_aside.h"

namespace lumisk {
namespace {

// File servers date by clocks of their own.
constexpr std::int64_t kClocksDifferBy = 600'000'000'000;
constexpr std::int64_t kAlways = 1;  // no time is earlier

std::int64_t earlier(std::int64_t one, std::int64_t other) {
  return one == 0 || other == 0 ? std::max(one, other) : std::min(one, other);
}

}  // namespace

// A pass over changed folders that was cut off with its process has left no trace in the stored dates.
bool LastSync::earlierAreSettled() const {
  const bool hasPasses = request_.info.scheduling_method == SchedulingMethod::kRealTime;
  return memory_.settled.value_or(!hasPasses && !lastRunDidNotComplete(request_.info));
}

void LastSync::begin() {
  const auto& info = request_.info;
  run_.compareSizes =
      info.bFirstCopy || info.lastCompletedBegin.empty() || lastRunDidNotComplete(info) || !earlierAreSettled();
  lostBefore_ = services_.lostWrites->since(info.uuidString);
  const std::int64_t since = earlier(info.doubtedSinceNanoseconds, lostBefore_);
  if (since == 0) return;
  const std::int64_t surely = std::max<std::int64_t>(since - kClocksDifferBy, 0);
  run_.doubtedSince = fileTimeOf(surely);
}

Result<void> LastSync::settle(RunTargets& targets, bool isWhole) {
  const bool wasSettled = earlierAreSettled();
  if (wasSettled) memory_.unsettledSince = nanosecondsOf(request_.begin);
  if (memory_.unsettledSince == 0) memory_.unsettledSince = request_.info.lastCompletedBeginNanoseconds;
  memory_.settled = wasSettled && run_.written.isEmpty();
  // A stop is not made to wait for a slow disk; the next run waits for what this one leaves.
  if (run_.mustStop()) return {};
  auto settled = bringToDisk(targets, !wasSettled, memory_.unsettledSince);
  memory_.settled = settled.has_value() && (wasSettled || isWhole);
  if (!settled && settled.error().code == ECANCELED) return {};
  return settled;
}

// On a thread of its own, since nobody can call a disk off: whoever stops the run, the main thread above all, does not
// wait for it.
Result<void> LastSync::bringToDisk(RunTargets& targets, bool withTargets, std::int64_t since) {
  if (run_.written.isEmpty() && !withTargets) return {};
  auto folders = withTargets ? targets.duplicates() : Result<std::vector<Descriptor>>();
  if (!folders) return fail(folders.error());
  struct Held {
    FileCalls& files;
    WrittenData written;
    std::vector<Descriptor> folders;
    Result<void> settle() {
      LUMISK_CHECK(written.settle());
      for (const Descriptor& folder : folders) LUMISK_CHECK(files.syncFileSystem(folder.get()));
      return {};
    }
  };
  auto held = std::make_shared<Held>(Held{run_.files, run_.written.take(), std::move(*folders)});
  auto work = [held = std::move(held), lost = services_.lostWrites, uuid = request_.info.uuidString,
               since]() -> Result<void> {
    auto settled = held->settle();
    if (!settled) lost->note(uuid, std::max(since, kAlways));
    return settled;
  };
  return waitAside(std::move(work), [this] { return run_.mustStop(); });
}

// Stored with the job, so that it outlasts the process.
void LastSync::fillReport(RunReport& report) {
  if (run_.dryRun) return;
  const auto& info = request_.info;
  const std::int64_t stored = info.doubtedSinceNanoseconds;
  const bool isMended = run_.doubtedSince && report.completed && report.wholeJob;
  const std::int64_t lost = services_.lostWrites->since(info.uuidString);
  const bool isNews = lost != lostBefore_;
  if (isMended && !isNews) services_.lostWrites->forget(info.uuidString);
  const std::int64_t since = earlier(isMended ? 0 : stored, isMended && !isNews ? 0 : lost);
  if (since != stored) report.jobKeys[kDoubtedSinceNanosecondsKey] = since;
}

}  // namespace lumisk
