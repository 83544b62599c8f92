#include "engine/file_step.h"

#include <cerrno>

#include "engine/destination_lookup.h"
#include "engine/folder_path.h"
#include "engine/type_filter.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

// Up to here a later date may be nothing but what the target's file system cut off.
constexpr auto kCoarsestDates = 2s;

// Something newer there is left alone, but further names of the source's file are no names of it.
bool isOneVersion(const WalkEntry& entry) {
  return entry.source.size == entry.standing->size &&
         isCloserThan(kCoarsestDates, entry.source.modified, entry.standing->modified);
}

EntryOutcome outcomeOf(const CopyDecision& decision) {
  if (decision.verdict == CopyVerdict::kUnchanged) return EntryOutcome::kUnchanged;
  return decision.verdict == CopyVerdict::kCopy ? EntryOutcome::kCopied : EntryOutcome::kReplaced;
}

}  // namespace

void FileStep::handle(WalkEntry& entry) {
  switch (entry.source.type) {
    case FileType::kRegular:
      return handleFile(entry);
    case FileType::kLink:
      return handleLink(entry);
    default:
      return walk_.report.notCopied(entry);
  }
}

// Files.

void FileStep::handleFile(WalkEntry& entry) {
  if (!passesFilter(entry)) return walk_.report.filtered(entry.name);
  const auto carried = carryFile(entry);
  if (carried != Progress::kLags) conclude(entry, carried, run_.m_nFilterCount == 0);
}

void FileStep::conclude(const WalkEntry& entry, const Result<Progress>& carried, bool isRecorded) {
  if (!carried) reportFailure(entry, carried.error());
  // The destination of a name that another one has there is that other one's, and must not be deleted for this one.
  const bool isAnothers = !carried && carried.error().code == kNamesClash;
  if (isRecorded && !isAnothers) walk_.record(entry.name, entry.destinationName);
}

bool FileStep::passesFilter(const WalkEntry& entry) {
  return run_.m_nFilterCount > 0 || fileTypeFilter(entry.name, run_.info.inclusionArray, run_.info.exclusionArray);
}

Result<FileStep::Progress> FileStep::carryFile(WalkEntry& entry) {
  LUMISK_CHECK(lookUpDestination(run_.files, walk_.stack.top(), entry));
  return settleAgain(entry, settleFile(entry));
}

// Where something has the name after all: another spelling of it, or somebody was faster.
Result<FileStep::Progress> FileStep::settleAgain(WalkEntry& entry, Result<Progress> settled) {
  if (settled || entry.standing || settled.error().code != EEXIST) return settled;
  LUMISK_CHECK(lookUpUnlisted(run_.files, walk_.stack.top(), entry));
  return settleFile(entry);
}

Result<FileStep::Progress> FileStep::settleFile(const WalkEntry& entry) {
  CopyDecision decision = decide(entry);
  if (!entry.standing) {
    if (walk_.rules.missingAtDestination(walk_.stack, entry) == WalkVerdict::kSettled) return Progress::kDone;
  } else {
    const auto ruled = walk_.rules.presentAtBoth(walk_.stack, entry, decision);
    if (!ruled) return Progress::kDone;
    decision = *ruled;
  }
  if (decision.verdict == CopyVerdict::kUnchanged) {
    if (isOneVersion(entry)) noteName(entry, entry.standing->identity);
    walk_.rules.isInStep(walk_.stack, entry);
  } else if (!run_.dryRun) {
    return copyFile(entry, decision);
  }
  walk_.report.outcome(outcomeOf(decision), entry.name, decision.reason);
  return Progress::kDone;
}

Result<FileStep::Progress> FileStep::copyFile(const WalkEntry& entry, const CopyDecision& decision) {
  walk_.beforeWriting();
  if (walk_.rules.letsCopiesLag() && walk_.copies.takes(entry)) {
    walk_.copies.add({walk_.stack.here(), entry, decision, run_.m_nFilterCount == 0});
    return Progress::kLags;
  }
  walk_.copies.drain();
  LUMISK_TRY(const FileCopier::Copied copied, linkOrCopy(entry));
  noteCopied(entry, copied);
  walk_.report.outcome(outcomeOf(decision), entry.name, decision.reason);
  return Progress::kDone;
}

void FileStep::copiedAside(LaggingCopy& copy, const Result<FileCopier::Copied>& copied) {
  if (copied) {
    noteCopied(copy.entry, *copied);
    walk_.report.outcome(outcomeOf(copy.decision), copy.entry.name, copy.decision.reason);
  }
  const Result<Progress> settled = copied ? Result<Progress>(Progress::kDone) : fail(copied.error());
  conclude(copy.entry, settleAgain(copy.entry, settled), copy.isRecorded);
}

// Measuring the file system's dates costs a file; it is done for the first close call only.
CopyDecision FileStep::decide(const WalkEntry& entry) {
  CopyQuestion question{entry.source, entry.standing, 1ns, run_.compareSizes, run_.doubtedSince};
  const CopyDecision decision = decideCopy(question);
  const bool isCloseCall = decision.verdict == CopyVerdict::kReplace && !run_.dryRun &&
                           entry.source.type == entry.standing->type &&
                           isCloserThan(kCoarsestDates, entry.source.modified, entry.standing->modified);
  if (!isCloseCall) return decision;
  question.granularity = walk_.granularity();
  return decideCopy(question);
}

Result<FileCopier::Copied> FileStep::linkOrCopy(const WalkEntry& entry) {
  const auto first = entry.source.links > 1 ? walk_.hardLinks.find(entry.source) : std::nullopt;
  if (first) {
    auto linked = linkTo(*first, entry);
    // Whatever else keeps it from being a further name of that file, it can still be a file of its own.
    const bool isFinal = linked || linked.error().code == ECANCELED || linked.error().code == EEXIST;
    if (isFinal) return linked;
  }
  const FrameStack& stack = walk_.stack;
  return walk_.copier.copyMacintoshFile(stack.sourcePlace(entry.name), entry.source,
                                        stack.destinationPlace(entry.destinationName), entry.standing);
}

Result<FileCopier::Copied> FileStep::linkTo(const HardLinkMap::Copy& first, const WalkEntry& entry) {
  const FrameStack& stack = walk_.stack;
  const bool isBelowThisRoot = first.root == stack.destinationRoot();
  Descriptor otherRoot;
  if (!isBelowThisRoot) {
    LUMISK_TRY(otherRoot, run_.files.openRoot(first.root));
  }
  const int root = isBelowThisRoot ? stack.roots().destination.get() : otherRoot.get();
  LUMISK_TRY(const Descriptor folder, openFolderBelow(run_.files, root, first.folder));
  const Place existing{folder.get(), first.name, first.root + "/" + first.folder + "/" + first.name};
  return walk_.copier.linkMacintoshFile(existing, first.identity, stack.destinationPlace(entry.destinationName),
                                        entry.standing);
}

void FileStep::noteCopied(const WalkEntry& entry, const FileCopier::Copied& copied) {
  walk_.wroteAnything = true;
  ++run_.counts.copied;
  run_.counts.bytes += copied.bytes;
  run_.counts.revisions += copied.keptVersion ? 1 : 0;
  noteName(entry, copied.made);
  if (!copied.changedMeanwhile) walk_.rules.isInStep(walk_.stack, entry);
}

void FileStep::noteName(const WalkEntry& entry, const FileIdentity& made) {
  if (entry.source.links <= 1) return;
  const FrameStack& stack = walk_.stack;
  walk_.hardLinks.met(entry.source, {std::string(stack.destinationRoot()), std::string(stack.belowDestinationRoot()),
                                     entry.destinationName, made});
}

void FileStep::reportFailure(const WalkEntry& entry, const Error& error) {
  if (error.code == ECANCELED) return;
  if (error.code == kNamesClash) return walk_.report.clash(entry, error.path);
  if (walk_.hasVanished(entry.name, error)) return walk_.report.vanished(entry.name);
  walk_.report.copyFailed(entry, error);
}

// Links.

void FileStep::handleLink(WalkEntry& entry) {
  const auto found = lookUpDestination(run_.files, walk_.stack.top(), entry);
  if (found) return settleLink(entry);
  if (found.error().code == kNamesClash) return walk_.report.clash(entry, found.error().path);
  walk_.report.destinationFailed(entry.name, found.error());
}

void FileStep::settleLink(const WalkEntry& entry) {
  CopyDecision decision{CopyVerdict::kCopy, "new"};
  if (!entry.standing) {
    if (walk_.rules.missingAtDestination(walk_.stack, entry) == WalkVerdict::kSettled) return;
  } else if (isSameLink(entry)) {
    walk_.rules.isInStep(walk_.stack, entry);
    return walk_.report.outcome(EntryOutcome::kUnchanged, entry.name, "unchanged");
  } else {
    const auto ruled = walk_.rules.presentAtBoth(walk_.stack, entry, {CopyVerdict::kReplace, "other link"});
    if (!ruled) return;
    decision = *ruled;
  }
  if (decision.verdict == CopyVerdict::kUnchanged)
    return walk_.report.outcome(EntryOutcome::kUnchanged, entry.name, decision.reason);
  if (run_.dryRun) return walk_.report.outcome(outcomeOf(decision), entry.name, decision.reason);
  makeLink(entry, decision);
}

bool FileStep::isSameLink(const WalkEntry& entry) {
  if (entry.standing->type != FileType::kLink) return false;
  const FolderFrame& frame = walk_.stack.top();
  const auto here = run_.files.readLink(frame.source.get(), entry.name);
  const auto there = run_.files.readLink(frame.destination.get(), entry.destinationName);
  return here && there && *here == *there;
}

void FileStep::makeLink(const WalkEntry& entry, const CopyDecision& decision) {
  walk_.beforeWriting();
  walk_.copies.drain();
  const FrameStack& stack = walk_.stack;
  const auto made = walk_.copier.copyMacintoshFileLink(stack.sourcePlace(entry.name), entry.source,
                                                       stack.destinationPlace(entry.destinationName), entry.standing);
  if (made == FileCopier::LinkOutcome::kNotALink) return walk_.report.linkUnreadable(entry.name);
  if (made == FileCopier::LinkOutcome::kFailed) return walk_.report.linkFailed(entry.name);
  if (made == FileCopier::LinkOutcome::kMade) {
    walk_.wroteAnything = true;
    ++run_.counts.copied;
  }
  walk_.rules.isInStep(walk_.stack, entry);
  walk_.report.outcome(outcomeOf(decision), entry.name, decision.reason);
}

}  // namespace lumisk
