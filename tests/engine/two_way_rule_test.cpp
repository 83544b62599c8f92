#include "engine/two_way_rule.h"

#include <gtest/gtest.h>

namespace lumisk {
namespace {

constexpr CompletedRun kLastRun{{1000, 0}, {1010, 500}};

FileStatus file(std::int64_t modified, std::uint64_t size = 5, std::int64_t changed = 900) {
  FileStatus status;
  status.type = FileType::kRegular;
  status.modified = {modified, 0};
  status.changed = {changed, 0};
  status.size = size;
  return status;
}

FileStatus folder(std::int64_t modified) {
  FileStatus status = file(modified);
  status.type = FileType::kFolder;
  return status;
}

TEST(TwoWayMissing, AnyProofLacking_CopiesBack) {
  const MissingQuestion proven{file(500), true, true, false, kLastRun};
  EXPECT_EQ(decideMissing(proven), MissingVerdict::kDelete);

  auto question = proven;
  question.standingListed = false;
  EXPECT_EQ(decideMissing(question), MissingVerdict::kCopy);
  question = proven;
  question.missingListed = false;
  EXPECT_EQ(decideMissing(question), MissingVerdict::kCopy);
  question = proven;
  question.insidePackageUnit = true;
  EXPECT_EQ(decideMissing(question), MissingVerdict::kCopy);
  question = proven;
  question.lastCompleted.reset();
  EXPECT_EQ(decideMissing(question), MissingVerdict::kCopy);
  question = proven;
  question.standing = file(1005);  // edited during or after the run
  EXPECT_EQ(decideMissing(question), MissingVerdict::kCopy);
  question.standing = file(500, 5, 1011);  // an old date, but put there after the run
  EXPECT_EQ(decideMissing(question), MissingVerdict::kCopy);
}

TEST(TwoWayMissing, EditWithinOneTickBeforeTheRun_CountsAsAnEdit) {
  FileStatus status = file(999);
  status.modified.nanoseconds = 995'000'000;
  EXPECT_FALSE(isUnchangedSince(status, kLastRun));
  status.modified.nanoseconds = 900'000'000;
  EXPECT_TRUE(isUnchangedSince(status, kLastRun));
}

TEST(TwoWayMissing, CopyMadeByTheRunItself_IsNoEdit) {
  FileStatus status = file(500);
  status.changed = {1010, 400};  // our own copy gave it its inode
  EXPECT_TRUE(isUnchangedSince(status, kLastRun));
}

PresentQuestion question(FileStatus from, FileStatus to, JobType type, ConflictChoice choice) {
  return {from, to, std::chrono::nanoseconds{1}, false, true, type, choice};
}

TEST(TwoWayPresent, WithRevisions_TheNewerIsCarriedInItsOwnPass) {
  const auto type = JobType::kSyncWithRevisions;
  const auto any = ConflictChoice::kSourceWins;
  EXPECT_EQ(decidePresent(question(file(10), file(5), type, any)), PresentVerdict::kCopy);
  EXPECT_EQ(decidePresent(question(file(5), file(10), type, any)), PresentVerdict::kLeave);
  EXPECT_EQ(decidePresent(question(file(10), file(9), type, any)), PresentVerdict::kLeave);  // the second of allowance
  EXPECT_EQ(decidePresent(question(file(10), file(10), type, any)), PresentVerdict::kInStep);
  EXPECT_EQ(decidePresent(question(folder(10), folder(5), type, any)), PresentVerdict::kInStep);
}

TEST(TwoWayPresent, WithConflicts_TheChoiceSettlesTheForwardPassOnly) {
  const auto type = JobType::kSyncWithConflicts;
  struct Case {
    ConflictChoice choice;
    PresentVerdict fromNewer, toNewer;
  };
  for (const Case& one : {Case{ConflictChoice::kSourceWins, PresentVerdict::kCopyTrash, PresentVerdict::kCopyTrash},
                          Case{ConflictChoice::kTargetWins, PresentVerdict::kCopyBack, PresentVerdict::kCopyBack},
                          Case{ConflictChoice::kNewerWins, PresentVerdict::kCopyTrash, PresentVerdict::kCopyBack},
                          Case{ConflictChoice::kKeepBoth, PresentVerdict::kKeepBoth, PresentVerdict::kKeepBothBack}}) {
    EXPECT_EQ(decidePresent(question(file(10), file(5), type, one.choice)), one.fromNewer);
    EXPECT_EQ(decidePresent(question(file(5), file(10), type, one.choice)), one.toNewer);
    auto reverse = question(file(5), file(10), type, one.choice);
    reverse.isForward = false;
    EXPECT_EQ(decidePresent(reverse), PresentVerdict::kLeave);
    EXPECT_FALSE(isConflict(reverse));
  }
  EXPECT_TRUE(isConflict(question(file(10), file(9), type, ConflictChoice::kNewerWins)));
  EXPECT_FALSE(isConflict(question(file(10), file(10), type, ConflictChoice::kNewerWins)));
}

TEST(TwoWayPresent, OtherTypes_TheNewerWinsAndTheLoserGoesToTheTrash) {
  for (const auto type : {JobType::kSyncWithRevisions, JobType::kSyncWithConflicts}) {
    EXPECT_EQ(decidePresent(question(file(10), folder(5), type, ConflictChoice::kKeepBoth)),
              PresentVerdict::kCopyTrash);
    EXPECT_EQ(decidePresent(question(file(5), folder(10), type, ConflictChoice::kKeepBoth)), PresentVerdict::kCopyBack);
    EXPECT_EQ(decidePresent(question(file(5), folder(5), type, ConflictChoice::kKeepBoth)), PresentVerdict::kCopyTrash);
  }
}

TEST(TwoWayPresent, LinksOfOneDateThatLeadElsewhere_GoTheWayOfTheFirstPass) {
  FileStatus link = file(10);
  link.type = FileType::kLink;
  auto links = question(link, link, JobType::kSyncWithConflicts, ConflictChoice::kTargetWins);
  EXPECT_EQ(decidePresent(links), PresentVerdict::kCopyTrash);
  links.isForward = false;
  EXPECT_EQ(decidePresent(links), PresentVerdict::kLeave);
}

TEST(TwoWayPresent, AfterARunThatDidNotComplete_TheLargerOfTwoEqualDatesWins) {
  auto torn = question(file(10, 0), file(10, 7), JobType::kSyncWithRevisions, ConflictChoice::kSourceWins);
  EXPECT_EQ(decidePresent(torn), PresentVerdict::kLeave);
  torn.compareSizes = true;
  EXPECT_EQ(decidePresent(torn), PresentVerdict::kCopyBack);
  std::swap(torn.from, torn.to);
  EXPECT_EQ(decidePresent(torn), PresentVerdict::kCopyTrash);
}

TEST(TwoWayPresent, CopyThatMayBeLost_IsMadeAgainFromTheOtherSide) {
  auto doubtful = question(file(10), file(10), JobType::kSyncWithConflicts, ConflictChoice::kTargetWins);
  doubtful.doubtedSince = FileTime{700, 0};
  doubtful.from.changed = {699, 0};
  doubtful.to.changed = {701, 0};
  EXPECT_EQ(decidePresent(doubtful), PresentVerdict::kCopyTrash);
  std::swap(doubtful.from, doubtful.to);
  EXPECT_EQ(decidePresent(doubtful), PresentVerdict::kCopyBack);
  doubtful.isForward = false;
  EXPECT_EQ(decidePresent(doubtful), PresentVerdict::kInStep) << "the walk there has settled it";
  doubtful.isForward = true;
  doubtful.to.changed = {702, 0};
  EXPECT_EQ(decidePresent(doubtful), PresentVerdict::kInStep) << "nobody knows which is the copy";
}

TEST(DeletionBrake, HoldsMoreThanHalfAndMoreThanTwenty) {
  EXPECT_FALSE(mustHoldDeletions(20, 20, kDefaultBrakePercent));
  EXPECT_TRUE(mustHoldDeletions(21, 30, kDefaultBrakePercent));
  EXPECT_FALSE(mustHoldDeletions(50, 100, kDefaultBrakePercent));
  EXPECT_TRUE(mustHoldDeletions(51, 100, kDefaultBrakePercent));
  EXPECT_FALSE(mustHoldDeletions(100, 100, 100));
  EXPECT_TRUE(mustHoldDeletions(21, 1000, 0));
}

}  // namespace
}  // namespace lumisk
