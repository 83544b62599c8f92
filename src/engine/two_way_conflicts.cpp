// How two-way jobs settle what stands on both sides.

#include <cerrno>

#include "engine/info_files.h"
#include "engine/old_copies.h"
#include "engine/path_texts.h"
#include "engine/two_way_rules.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

bool isReplacement(PresentVerdict verdict) {
  return verdict == PresentVerdict::kCopy || verdict == PresentVerdict::kCopyTrash ||
         verdict == PresentVerdict::kCopyBack || verdict == PresentVerdict::kKeepBoth;
}

}  // namespace

PresentQuestion TwoWayRules::questionOf(const WalkEntry& entry) const {
  PresentQuestion question;
  question.from = entry.source;
  question.to = *entry.standing;
  question.compareSizes = run_.compareSizes;
  question.doubtedSince = run_.doubtedSince;
  question.isForward = direction_ == Direction::kForward;
  question.jobType = run_.info.jobType;
  question.choice = conflicts_.conflictType;
  return question;
}

std::optional<CopyDecision> TwoWayRules::presentAtBoth(FrameStack& at, const WalkEntry& entry, CopyDecision decision) {
  losers_.setLoser(LoserKeeper::Loser::kByJob);
  if (isInfoFileName(entry.name)) {
    noteInStep(at, levels_.back());
    return leave(at, entry);
  }
  PresentQuestion question = questionOf(entry);
  question.granularity = granularityOf(at, entry);
  if (isConflict(question)) question.choice = choose(at, entry);
  const PresentVerdict verdict = decidePresent(question);
  if (verdict != PresentVerdict::kInStep && levels_.back().isUnread) return std::nullopt;
  if (verdict == PresentVerdict::kCopy && isLeftToTheNextRun(at, entry)) return leave(at, entry);
  if (isReplacement(verdict) &&
      !unlistBeforeReplacing(at, entry, verdict == PresentVerdict::kCopyBack ? *entry.standing : entry.source))
    return std::nullopt;
  switch (verdict) {
    case PresentVerdict::kInStep:
      return CopyDecision{CopyVerdict::kUnchanged, "unchanged"};
    case PresentVerdict::kLeave:
      return leave(at, entry);
    case PresentVerdict::kCopy:
      return CopyDecision{CopyVerdict::kReplace, decision.verdict == CopyVerdict::kReplace ? decision.reason : "newer"};
    case PresentVerdict::kCopyTrash:
      losers_.setLoser(LoserKeeper::Loser::kToTrash);
      return CopyDecision{CopyVerdict::kReplace, "wins the conflict"};
    case PresentVerdict::kCopyBack:
      carryBack(at, entry);
      return std::nullopt;
    case PresentVerdict::kKeepBoth:
      if (!keepBoth(at, entry)) return std::nullopt;
      return CopyDecision{CopyVerdict::kReplace, "newer, both are kept"};
    case PresentVerdict::kKeepBothBack:
      keepBothBack(at, entry);
      return std::nullopt;
  }
  return decision;
}

// What the walk there has not settled, because it failed or because it came later: the walk back knows dates alone, and
// neither who wins nor that the loser must be kept.
bool TwoWayRules::isLeftToTheNextRun(const FrameStack& at, const WalkEntry& entry) const {
  if (run_.info.jobType != JobType::kSyncWithConflicts || direction_ == Direction::kForward) return false;
  return !settled_.isWinner(paths::join(relativeFolder(at), entry.name));
}

// Asked only for dates so close that the coarser file system may have made the difference: it has to write.
std::chrono::nanoseconds TwoWayRules::granularityOf(const FrameStack& at, const WalkEntry& entry) {
  using namespace std::chrono_literals;
  const FileTime& one = entry.source.modified;
  const FileTime& other = entry.standing->modified;
  if (run_.dryRun || one == other || !isCloserThan(2s, one, other)) return 1ns;
  const int from = at.sourcePlace(entry.name).folder;
  const int to = at.destinationPlace(entry.destinationName).folder;
  return std::max(granularities_.of(from, entry.source.identity.device),
                  granularities_.of(to, entry.standing->identity.device));
}

ConflictChoice TwoWayRules::choose(const FrameStack& at, const WalkEntry& entry) {
  if (conflicts_.applayConflictForAll || run_.dryRun) return conflicts_.conflictType;
  ConflictQuestion question;
  question.jobName = run_.info.name;
  question.sourceText = getStringWithFileName(at.sourcePlace(entry.name).path, entry.source);
  question.targetText = getStringWithFileName(at.destinationPlace(entry.destinationName).path, *entry.standing);
  question.source = {at.sourcePlace(entry.name).path, entry.source};
  question.target = {at.destinationPlace(entry.destinationName).path, *entry.standing};
  question.mustStop = [this] { return run_.mustStop(); };
  const ConflictAnswer answer = run_.dialogs.askConflict(question);
  conflicts_.conflictType = answer.choice;
  conflicts_.applayConflictForAll = answer.forAll;
  return answer.choice;
}

std::optional<CopyDecision> TwoWayRules::leave(const FrameStack& at, const WalkEntry& entry) const {
  outcome(at, entry, EntryOutcome::kUnchanged, "older than the other side");
  return std::nullopt;
}

// The winner takes the place of what the walk came from; a folder that wins is brought by the way back.
void TwoWayRules::carryBack(FrameStack& at, const WalkEntry& entry) {
  if (run_.dryRun) return outcome(at, entry, EntryOutcome::kReplaced, "the other side wins");
  losers_.setLoser(LoserKeeper::Loser::kToTrash);
  const auto carried = carryBackNow(at, entry);
  losers_.setLoser(LoserKeeper::Loser::kByJob);
  if (!carried) return failed(at, entry, carried.error());
  ++run_.counts.copied;
  outcome(at, entry, EntryOutcome::kReplaced, "the other side wins");
}

Result<void> TwoWayRules::carryBackNow(FrameStack& at, const WalkEntry& entry) {
  const Place loser = at.sourcePlace(entry.name);
  const Place winner = at.destinationPlace(entry.destinationName);
  const FileStatus& standing = *entry.standing;
  Level& level = levels_.back();
  level.from.deleteFileInArrayList(entry.name);
  level.to.deleteFileInArrayList(entry.destinationName);
  if (standing.type == FileType::kFolder) {
    LUMISK_CHECK(trash_.moveToTrash(loser.folder, loser.name, loser.path));
    run_.written.wrote(-1, loser.folder, entry.source.identity.device);
    return {};
  }
  if (standing.type == FileType::kLink) {
    if (copier_.copyMacintoshFileLink(winner, standing, loser, entry.source) != FileCopier::LinkOutcome::kMade)
      return fail("copy the link", winner.path, EIO);
  } else {
    LUMISK_TRY(const FileCopier::Copied copied, copier_.copyMacintoshFile(winner, standing, loser, entry.source));
    run_.counts.bytes += copied.bytes;
    if (copied.changedMeanwhile) return {};
  }
  isInStep(at, entry);
  return {};
}

// A copy of the older version at the destination; then the newer one may take its name.
bool TwoWayRules::keepBoth(FrameStack& at, const WalkEntry& entry) {
  if (run_.dryRun) return true;
  const auto old =
      copyFileWithOLDTag(run_, copier_, trash_, at.destinationPlace(entry.destinationName), *entry.standing);
  if (!old) {
    failed(at, entry, old.error());
    return false;
  }
  Level& level = levels_.back();
  level.from.deleteFileInArrayList(old->name);
  level.to.deleteFileInArrayList(old->name);
  return true;
}

// Copies of the older version on both sides; the newer one is brought by the way back.
void TwoWayRules::keepBothBack(FrameStack& at, const WalkEntry& entry) {
  if (run_.dryRun) return outcome(at, entry, EntryOutcome::kCopied, "older, both are kept");
  const auto kept = keepBothBackNow(at, entry);
  if (!kept) return failed(at, entry, kept.error());
  settled_.addWinner(paths::join(relativeFolder(at), entry.destinationName));
  ++run_.counts.copied;
  outcome(at, entry, EntryOutcome::kCopied, "older, both are kept");
}

Result<void> TwoWayRules::keepBothBackNow(FrameStack& at, const WalkEntry& entry) {
  const Place source = at.sourcePlace(entry.name);
  LUMISK_TRY(const Place old, copyFileWithOLDTag(run_, copier_, trash_, source, entry.source));
  Level& level = levels_.back();
  level.from.deleteFileInArrayList(old.name);
  level.to.deleteFileInArrayList(old.name);
  LUMISK_TRY(const FileStatus copy, run_.files.status(old.folder, old.name));
  const Place there = at.destinationPlace(old.name);
  auto standing = run_.files.status(there.folder, there.name);
  if (!standing && standing.error().code != ENOENT) return fail(std::move(standing).error());
  if (standing) LUMISK_CHECK(trash_.moveToTrash(there.folder, there.name, there.path));
  if (copy.type == FileType::kLink) {
    if (copier_.copyMacintoshFileLink(old, copy, there, std::nullopt) != FileCopier::LinkOutcome::kMade)
      return fail("copy the link", old.path, EIO);
    return {};
  }
  LUMISK_CHECK(copier_.copyMacintoshFile(old, copy, there, std::nullopt));
  return {};
}

void TwoWayRules::failed(const FrameStack& at, const WalkEntry& entry, const Error& error) {
  if (error.code == ECANCELED) return;
  run_.log.write("%s: ERROR: Failed to copy this file as follow.\nsource:%s\ndestination:%s\n", run_.info.name.c_str(),
                 shown(at.sourcePlace(entry.name).path).c_str(),
                 shown(at.destinationPlace(entry.destinationName).path).c_str());
  run_.log.write("%s: %s\n", run_.info.name.c_str(), shown(error.text()).c_str());
  run_.noteError(RunError::kFileCopy);
  outcome(at, entry, EntryOutcome::kFailed, error.operation.c_str());
}

void TwoWayRules::outcome(const FrameStack& at, const WalkEntry& entry, EntryOutcome outcome,
                          const char* reason) const {
  if (run_.onEntry) run_.onEntry(outcome, at.sourcePlace(entry.name).path, reason);
}

}  // namespace lumisk
