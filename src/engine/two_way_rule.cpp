#include "engine/two_way_rule.h"

#include "engine/copy_rule.h"

namespace lumisk {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
// Time stamps are taken from a clock that stands still for up to one tick, at most 10 ms.
constexpr std::int64_t kTickMargin = 20'000'000;

std::int64_t nanoseconds(FileTime time) {
  return time.seconds * kSecond + static_cast<std::int64_t>(time.nanoseconds);
}

// The decision by dates, as a backup takes it.
CopyVerdict byDates(const FileStatus& from, const FileStatus& to, const PresentQuestion& question) {
  return decideCopy({from, to, question.granularity, question.compareSizes, {}}).verdict;
}

bool sameDate(const PresentQuestion& question) {
  const std::int64_t grain = question.granularity.count();
  return nanoseconds(question.from.modified) / grain == nanoseconds(question.to.modified) / grain;
}

bool isInStep(const PresentQuestion& question) {
  if (question.from.type != question.to.type) return false;
  if (question.from.type == FileType::kFolder) return true;  // its date is that of its last new entry
  // Of links only those that lead elsewhere are asked about.
  return question.from.type == FileType::kRegular && sameDate(question) && question.from.size == question.to.size;
}

// Something of another type, or torn by a run that did not complete: the newer one, the larger one, else the reading
// side wins. The loser is never an earlier version of the winner, so it always goes to the Trash.
PresentVerdict settleUnlike(const PresentQuestion& question) {
  const bool areFiles = question.from.type == FileType::kRegular && question.to.type == FileType::kRegular;
  const bool toWins = sameDate(question) ? areFiles && question.to.size > question.from.size
                                         : question.to.modified > question.from.modified;
  return toWins ? PresentVerdict::kCopyBack : PresentVerdict::kCopyTrash;
}

PresentVerdict settleConflict(const PresentQuestion& question, bool fromIsNewer) {
  switch (question.choice) {
    case ConflictChoice::kSourceWins:
      return PresentVerdict::kCopyTrash;
    case ConflictChoice::kTargetWins:
      return PresentVerdict::kCopyBack;
    case ConflictChoice::kNewerWins:
      return fromIsNewer ? PresentVerdict::kCopyTrash : PresentVerdict::kCopyBack;
    case ConflictChoice::kKeepBoth:
      return fromIsNewer ? PresentVerdict::kKeepBoth : PresentVerdict::kKeepBothBack;
  }
  return fromIsNewer ? PresentVerdict::kCopy : PresentVerdict::kLeave;
}

// Of two that look alike, the one that a run has written and that may have been lost since; with both changed nobody
// knows which is the other's copy.
enum class Doubted { kNone, kFrom, kTo };
Doubted doubted(const PresentQuestion& question) {
  if (!question.doubtedSince || question.from.type != FileType::kRegular || !isInStep(question)) return Doubted::kNone;
  const bool from = question.from.changed >= *question.doubtedSince;
  const bool to = question.to.changed >= *question.doubtedSince;
  if (from == to) return Doubted::kNone;
  return from ? Doubted::kFrom : Doubted::kTo;
}

bool isUnlike(const PresentQuestion& question) {
  if (question.from.type != question.to.type) return true;
  if (question.from.type == FileType::kLink) return sameDate(question);
  return question.compareSizes && question.from.type == FileType::kRegular && sameDate(question) &&
         question.from.size != question.to.size;
}

}  // namespace

bool isUnchangedSince(const FileStatus& status, const CompletedRun& run) {
  return nanoseconds(status.modified) < nanoseconds(run.begin) - kTickMargin &&
         nanoseconds(status.changed) <= nanoseconds(run.end);
}

MissingVerdict decideMissing(const MissingQuestion& question) {
  if (question.insidePackageUnit || !question.lastCompleted) return MissingVerdict::kCopy;
  if (!question.standingListed || !question.missingListed) return MissingVerdict::kCopy;
  // A folder's own dates move with every entry made in it; what counts is what it holds.
  if (question.standing.type == FileType::kFolder) return MissingVerdict::kDelete;
  return isUnchangedSince(question.standing, *question.lastCompleted) ? MissingVerdict::kDelete : MissingVerdict::kCopy;
}

bool isConflict(const PresentQuestion& question) {
  return question.jobType == JobType::kSyncWithConflicts && question.isForward && !isUnlike(question) &&
         !isInStep(question) && !sameDate(question);
}

PresentVerdict decidePresent(const PresentQuestion& question) {
  const Doubted lost = doubted(question);
  if (lost != Doubted::kNone && question.isForward)
    return lost == Doubted::kTo ? PresentVerdict::kCopyTrash : PresentVerdict::kCopyBack;
  if (isInStep(question)) return PresentVerdict::kInStep;
  if (isUnlike(question)) return question.isForward ? settleUnlike(question) : PresentVerdict::kLeave;
  const bool fromIsNewer = byDates(question.from, question.to, question) == CopyVerdict::kReplace;
  if (isConflict(question)) return settleConflict(question, fromIsNewer);
  return fromIsNewer ? PresentVerdict::kCopy : PresentVerdict::kLeave;
}

bool mustHoldDeletions(std::uint64_t deletions, std::uint64_t entriesHeld, int percent) {
  if (deletions <= 20 || percent >= 100) return false;
  return deletions * 100 > entriesHeld * static_cast<std::uint64_t>(percent < 0 ? 0 : percent);
}

}  // namespace lumisk
