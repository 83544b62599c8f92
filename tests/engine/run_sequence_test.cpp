#include "engine/run_sequence.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

#include "engine/run_messages.h"
#include "engine/stored_runs.h"
#include "support/faulty_file_calls.h"
#include "support/worker_fixture.h"

namespace lumisk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string kSeparator(74, '=');

class RunTest : public ::testing::Test {
 protected:
  // The names in the target that a run must not leave behind.
  std::vector<std::string> temporaries() {
    std::vector<std::string> found;
    for (const std::string& path : treeListing(f.tree / "target"))
      if (path.find(".lumisk-") != std::string::npos) found.push_back(path);
    return found;
  }
  // Files of more than one block, so that each has a middle.
  void fillSource() {
    const File file{std::string(1'000'000, 'x'), 0644, 1000};
    makeTree(f.tree / "source", {{"a.txt", file}, {"d", Dir{{"b.txt", file}}}});
  }
  // While the data of the first file are on their way.
  void inTheMiddle(const std::function<void()>& hook) {
    for (const FileCall call : {FileCall::kWrite, FileCall::kCopyRange, FileCall::kCloneFile}) files.before(call, hook);
  }

  FaultyFileCalls files;
  WorkerFixture f{files};
};

TEST_F(RunTest, WholeRun_CarriesTheSourceAndLogsItsSteps) {
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.completed && report.wholeJob);
  EXPECT_EQ(report.counts.copied, 2U);
  f.runOnce();
  f.stop();
  ExpectSameTrees(f.tree / "source", f.tree / "target/source");
  const std::string walk =
      kSeparator + "\njob: Synchronization started\n" + "job: source path     : " + f.tree / "source" + "\n" +
      "job: destination path: " + f.tree / "target" + "\n" + "job: Synchronization completion\n" + kSeparator + "\n\n";
  // The entries are counted once in the worker's life.
  EXPECT_EQ(f.log(), "job: Starting running\n" + kSeparator + "\njob: Preparing to synchronize the following:\n" +
                         "job: source path: " + f.tree / "source" + "\njob: \n" + walk + walk +
                         "job: Stop running\n\n");
}

TEST_F(RunTest, UnmountableSourcesOnly_OnAFixedDisk_EndsAtOnce) {
  const RunReport report = f.runOnce(CopyMethod::kUnmountableSources);
  f.stop();
  EXPECT_FALSE(report.completed || report.wholeJob);
  EXPECT_THAT(f.posted(), ElementsAre(kWillStartNotification, kScheduleNotification, kDidFinishNotification));
  EXPECT_EQ(f.log(), "job: Starting running\njob: Stop running\n\n");
}

TEST_F(RunTest, UnmountableSourcesOnly_FirstCopy_TakesAllSources) {
  f.job.bFirstCopy = true;
  EXPECT_TRUE(f.runOnce(CopyMethod::kUnmountableSources).completed);
  EXPECT_THAT(f.firstCopiesOver, ElementsAre(WorkerFixture::kIndex));
  f.runOnce();
  EXPECT_EQ(f.firstCopiesOver.size(), 1U);  // the worker knows that it is over
}

// Problems with paths.

TEST_F(RunTest, SourceMissing_IsTold_AndTheOtherIsCarried) {
  f.job.sourcePaths = {f.tree / "missing", f.tree / "source"};
  const RunReport report = f.runOnce();
  EXPECT_FALSE(report.completed || report.refused);
  EXPECT_TRUE(report.sourceProblem && !report.targetProblem);
  EXPECT_EQ(report.problemPath, f.tree / "missing");
  ExpectSameTrees(f.tree / "source", f.tree / "target/source");
  EXPECT_THAT(f.log(), HasSubstr("ERROR: the source file/directory \"" + f.tree / "missing" + "\" isn't readable\n"));
  ASSERT_EQ(f.dialogs.pathProblems.size(), 1U);
  EXPECT_EQ(f.dialogs.pathProblems[0].message, "Source folder isn't readable or does not exist.");
}

TEST_F(RunTest, SourceIsALinkToAMissingFolder_IsMissing) {
  makeTree(f.tree.path(), {{"source2", Link{"/nowhere/at/all"}}});
  f.job.sourcePaths = {f.tree / "source2"};
  EXPECT_TRUE(f.runOnce().sourceProblem);
  EXPECT_THAT(listing(f.tree / "target"), IsEmpty());
}

TEST_F(RunTest, TargetMissing_IsNotMade) {
  f.job.targetPaths = {f.tree / "volume/target"};
  f.job.bRetainFullPath = true;
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.targetProblem && !report.sourceProblem);
  EXPECT_FALSE(exists(f.tree / "volume"));
  EXPECT_THAT(f.log(),
              HasSubstr("ERROR: the path \"" + f.tree / "volume/target" + "\" isn't writable, or does not exist.\n"));
  ASSERT_EQ(f.dialogs.pathProblems.size(), 1U);
  EXPECT_EQ(f.dialogs.pathProblems[0].message, "Destination folder isn't writable or does not exist.");
}

TEST_F(RunTest, TargetNotWritable_IsATargetProblem) {
  files.fail(FileCall::kMayWrite, EROFS);
  EXPECT_TRUE(f.runOnce().targetProblem);
  EXPECT_THAT(listing(f.tree / "target"), IsEmpty());
}

TEST_F(RunTest, TargetReplacedBeforeTheWalk_ReceivesNothing) {
  files.before(FileCall::kMayRead, [this] {
    std::filesystem::rename(f.tree / "target", f.tree / "unmounted");
    makeTree(f.tree.path(), {{"target", Dir{}}});
  });
  EXPECT_TRUE(f.runOnce().targetProblem);
  EXPECT_THAT(listing(f.tree / "target"), IsEmpty());
  EXPECT_THAT(listing(f.tree / "unmounted"), IsEmpty());
}

TEST_F(RunTest, TargetThatKeepsNoPermissions_LeavesTheSourcesFoldersTheirs) {
  f.job.jobType = JobType::kSyncWithConflicts;
  std::filesystem::permissions(f.tree / "source/d", std::filesystem::perms(0750));
  EXPECT_TRUE(f.runOnce().completed);
  makeTree(f.tree / "target/d", {{"new.txt", File{"made there"}}});
  std::filesystem::permissions(f.tree / "target/d", std::filesystem::perms(0700));
  files.fail(FileCall::kSetMode, EPERM, {.name = "d"});  // once: on the way there
  f.runOnce();
  EXPECT_TRUE(exists(f.tree / "source/d/new.txt"));
  EXPECT_EQ(std::filesystem::status(f.tree / "source/d").permissions(), std::filesystem::perms(0750));
  EXPECT_EQ(std::filesystem::status(f.tree / "target/d").permissions(), std::filesystem::perms(0700));
}

// Where sources go.

TEST_F(RunTest, SeveralTargets_EachSourceGoesToItsOwn) {
  makeTree(f.tree.path(), {{"other.txt", File{"file"}}, {"target2", Dir{}}});
  f.job.bMultipleTargetFolder = true;
  f.job.sourcePaths = {f.tree / "source", f.tree / "other.txt"};
  f.job.targetPaths = {f.tree / "target", f.tree / "target2"};
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_THAT(listing(f.tree / "target"), ElementsAre("_XXXQelLumiskinfo_job", "source"));
  EXPECT_THAT(listing(f.tree / "target2"), ElementsAre("_XXXQelLumiskinfo_job", "other.txt"));
}

TEST_F(RunTest, RetainedFullPath_UsesTheNamesOfTheJob) {
  f.job.bRetainFullPath = true;
  f.job.otherKeys[kComputerNameKey] = "Computer";
  f.job.otherKeys[kRootDisplayNameKey] = "Disk";
  EXPECT_TRUE(f.runOnce().completed);
  ExpectSameTrees(f.tree / "source", f.tree / "target" + "/Computer/Volumes/Disk" + f.tree / "source");
}

TEST_F(RunTest, SingleFile_FollowsTheTypeFilter) {
  makeTree(f.tree.path(), {{"a.tmp", File{"x"}}});
  f.job.sourcePaths = {f.tree / "a.tmp", f.tree / "source/a.txt"};
  f.job.exclusionArray = {"tmp"};
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.completed);
  EXPECT_EQ(report.counts.skipped, 1U);
  EXPECT_THAT(listing(f.tree / "target"), ElementsAre("_XXXQelLumiskinfo_job", "a.txt"));
  EXPECT_THAT(f.log(), HasSubstr("job: file type filter . . . . . . . . . . . " + f.tree / "a.tmp" + "\n"));
}

// Refusals.

TEST_F(RunTest, TwoWayJobAfterTheClockWasSetBack_CarriesNoDeletion) {
  f.job.jobType = JobType::kSyncWithConflicts;
  f.clock.advance(systemClock().now() - f.clock.now() + std::chrono::seconds(10));
  EXPECT_TRUE(f.runOnce().completed);
  std::filesystem::remove(f.tree / "target/a.txt");
  f.clock.advance(-std::chrono::hours(1));
  EXPECT_EQ(f.runOnce().counts.deleted, 0U);
  EXPECT_EQ(readFile(f.tree / "target/a.txt"), "first");
}

TEST_F(RunTest, TwoWayJob_LocksItsSourceToo) {
  f.job.jobType = JobType::kSyncWithConflicts;
  const auto other = realFileCalls().openRoot(f.tree / "source").value();
  ASSERT_TRUE(realFileCalls().lockExclusively(other.get()));
  EXPECT_TRUE(f.runOnce().refused);
  EXPECT_THAT(listing(f.tree / "target"), IsEmpty());
}

TEST_F(RunTest, TargetInsideTheSource_IsRefused) {
  f.job.targetPaths = {f.tree / "source/d"};
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.refused);
  EXPECT_NE(report.problemText, "");
  EXPECT_THAT(listing(f.tree / "source/d"), ElementsAre("b.txt"));
  EXPECT_EQ(f.dialogs.pathProblems.size(), 1U);
}

TEST_F(RunTest, TargetLockedByAnotherRun_IsRefusedUntilItIsFree) {
  auto other = realFileCalls().openRoot(f.tree / "target").value();
  ASSERT_TRUE(realFileCalls().lockExclusively(other.get()));
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.refused && report.targetProblem);
  EXPECT_EQ(report.problemText, "another run is writing to " + f.tree / "target");
  EXPECT_THAT(listing(f.tree / "target"), IsEmpty());
  other.reset();
  EXPECT_TRUE(f.runOnce().completed);
  // And the run has let it go.
  other = realFileCalls().openRoot(f.tree / "target").value();
  EXPECT_TRUE(realFileCalls().lockExclusively(other.get()));
}

TEST_F(RunTest, OneTargetUnderTwoNames_DoesNotLockItselfOut) {
  makeTree(f.tree.path(), {{"other", Dir{}}, {"again", Link{"target"}}});
  f.job.bMultipleTargetFolder = true;
  f.job.sourcePaths = {f.tree / "source", f.tree / "other"};
  f.job.targetPaths = {f.tree / "target", f.tree / "again"};
  EXPECT_TRUE(f.runOnce().completed);
}

TEST_F(RunTest, TargetThatCannotLock_IsWrittenAndLogged) {
  files.fail(FileCall::kLockExclusively, EOPNOTSUPP);
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_THAT(f.log(), HasSubstr("job: can't lock the target \"" + f.tree / "target" + "\": "));
}

// What makes a run incomplete.

TEST_F(RunTest, NoSpaceLeft_IsToldOnceForTheWorker) {
  files.fail(FileCall::kCreateFile, ENOSPC, {.times = FaultyFileCalls::kAlways});
  f.job.bFirstCopy = true;
  EXPECT_EQ(f.runOnce().errorCode, RunError::kOutOfSpace);
  EXPECT_FALSE(f.runOnce().completed);
  f.stop();
  EXPECT_THAT(f.dialogs.messages, ElementsAre(HasSubstr(kNoSpaceMessage)));
  EXPECT_THAT(f.dialogs.finishes, IsEmpty());
  EXPECT_THAT(f.firstCopiesOver, IsEmpty());
  EXPECT_EQ(f.posted().back(), kErrorMessageNotification);
}

TEST_F(RunTest, DataThatDoNotReachTheDisk_MakeItIncomplete) {
  f.job.uuidString.clear();  // a target that cannot be marked would not be written to at all
  files.fail(FileCall::kSyncFile, EIO, {.times = FaultyFileCalls::kAlways});
  const RunReport report = f.runOnce();
  EXPECT_FALSE(report.completed);
  EXPECT_EQ(report.errorCode, RunError::kFileCopy);
  EXPECT_THAT(f.log(), HasSubstr("job: ERROR: Failed to write everything to the disk: "));
  EXPECT_THAT(f.dialogs.messages, ElementsAre(HasSubstr("You may have an incomplete backup.")));
  // What is on the disk then looks as it should until it is read. The next run copies it again, and waits for what this
  // one left.
  writeFile(f.tree / "target/source/a.txt", "what was there");
  setModified(f.tree / "target/source/a.txt", 1000);
  files.forgetRules();
  f.forget();
  const RunReport next = f.runOnce();
  EXPECT_TRUE(next.completed);
  EXPECT_EQ(readFile(f.tree / "target/source/a.txt"), "first");
  EXPECT_THAT(f.log(), HasSubstr("job: WARNING: what was written before may not have reached the disk"));
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem), 1);
  EXPECT_GT(report.jobKeys.at(kDoubtedSinceNanosecondsKey).integer(), 0);
  EXPECT_EQ(next.jobKeys.at(kDoubtedSinceNanosecondsKey).integer(), 0);
  EXPECT_EQ(f.runOnce().counts.copied, 0U);
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem), 1);
}

// A run of some of the targets does not vouch for the others.
TEST_F(RunTest, TargetThatWasAwayAfterACancelledRun_IsSyncedWhenItIsBack) {
  makeTree(f.tree.path(), {{"other.txt", File{"file"}}, {"target2", Dir{}}});
  f.job.bMultipleTargetFolder = true;
  f.job.sourcePaths = {f.tree / "other.txt", f.tree / "source"};
  f.job.targetPaths = {f.tree / "target2", f.tree / "target"};
  files.before(FileCall::kSetModified,
               [this] {
                 f.center.post({kCancelNotification, WorkerFixture::kIndex, {}});
               },
               {.name = "d"});
  EXPECT_TRUE(f.runOnce().cancelled);
  std::filesystem::rename(f.tree / "target2", f.tree / "away");
  EXPECT_TRUE(f.runOnce().targetProblem);
  std::filesystem::rename(f.tree / "away", f.tree / "target2");
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem, "*target2"), 1);
}

// Nobody can call a disk off, but whoever stops a run need not wait for it.
TEST(Run, StoppedDuringItsLastSync_EndsBeforeTheDiskDoes) {
  static FaultyFileCalls& files = *new FaultyFileCalls;  // outlives the sync, which may outlive the test
  WorkerFixture f(files);
  for (int i = 0; i < 20; ++i) writeFile(f.tree / "source/" + std::to_string(i), "text");
  const auto begun = std::make_shared<std::promise<void>>();
  std::promise<void> ends;
  files.before(FileCall::kSyncFileSystem, [begun, end = ends.get_future().share()] {
    begun->set_value();
    end.wait();
  });
  files.fail(FileCall::kSyncFileSystem, EIO);
  f.worker().start();
  f.worker().setCopyMethod(CopyMethod::kNormal);
  EXPECT_EQ(begun->get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  auto stopped = std::async(std::launch::async, [&f] { f.stop(); });
  EXPECT_EQ(stopped.wait_for(std::chrono::seconds(60)), std::future_status::ready);
  ends.set_value();
  stopped.wait();
  EXPECT_FALSE(f.worker().lastReport().completed);
  // That it failed in the end is not lost: the job's next run goes by it.
  for (int tries = 0; f.lostWrites->since("UUID-1") == 0 && tries < 600; ++tries)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_GT(f.lostWrites->since("UUID-1"), 0);
}

TEST_F(RunTest, FolderThatCannotBeMade_IsShownOnceInARun) {
  makeTree(f.tree / "source", {{"e", Dir{}}});
  files.fail(FileCall::kMakeFolder, EROFS, {.name = "[de]", .times = FaultyFileCalls::kAlways});
  EXPECT_EQ(f.runOnce().errorCode, RunError::kDirectoryCreation);
  ASSERT_EQ(f.dialogs.pathProblems.size(), 1U);
  EXPECT_EQ(f.dialogs.pathProblems.front().message, kTargetMessage);
  EXPECT_EQ(f.dialogs.pathProblems.front().path, f.tree / "target/source/d");
  f.dataBit = kPathDialogOffBit;
  f.runOnce();
  EXPECT_EQ(f.dialogs.pathProblems.size(), 1U) << "the user did not want to see it";
}

TEST_F(RunTest, CancelInTheMiddleOfAFile_LeavesTheEarlierVersionAndNoRest) {
  fillSource();
  makeTree(f.tree / "target", {{"source", Dir{{"a.txt", File{"earlier", 0644, 500}}}}});
  inTheMiddle([this] { f.center.post({kCancelNotification, WorkerFixture::kIndex, {}}); });
  f.job.bFirstCopy = true;
  const RunReport report = f.runOnce();
  f.stop();
  EXPECT_TRUE(report.cancelled && !report.completed);
  EXPECT_EQ(report.counts.copied, 0U);
  EXPECT_THAT(temporaries(), IsEmpty());
  EXPECT_EQ(readFile(f.tree / "target/source/a.txt"), "earlier");
  EXPECT_FALSE(f.last(kDidFinishNotification).userInfo.at(kRunCompletedKey).boolean());
  EXPECT_EQ(f.posted().back(), kDidFinishNotification);
  ASSERT_EQ(f.dialogs.finishes.size(), 1U);
  EXPECT_EQ(f.dialogs.finishes[0].message, "User canceled the job.");
  EXPECT_THAT(f.firstCopiesOver, IsEmpty());
}

TEST_F(RunTest, StopInTheMiddleOfAFile_LeavesNoRestAndTellsNothingMore) {
  fillSource();
  std::atomic<bool> copying{false};
  inTheMiddle([&] {
    f.worker().postMessage(1);
    copying = true;
    copying.notify_all();
  });
  f.worker().start();
  f.worker().setCopyMethod(CopyMethod::kNormal);
  copying.wait(false);
  f.stop();
  EXPECT_TRUE(f.worker().lastReport().cancelled);
  EXPECT_EQ(f.worker().lastReport().counts.copied, 0U);
  EXPECT_THAT(temporaries(), IsEmpty());
  EXPECT_THAT(f.posted(), ElementsAre(kWillStartNotification));
  EXPECT_THAT(f.log(), HasSubstr("job: Stop running\n\n"));
  EXPECT_THAT(f.log(), Not(HasSubstr("completion")));
  // The lock is free again, and another start carries on.
  files.forgetRules();
  EXPECT_TRUE(f.runOnce().completed);
  ExpectSameTrees(f.tree / "source", f.tree / "target/source");
}

TEST_F(RunTest, AfterAnIncompleteRun_SizesAreCompared) {
  f.job.lastBeginTime = "2009-03-03 10:00:00 +0000";
  f.job.otherKeys[kLastCompletedBeginKey] = "2009-03-02 10:00:00 +0000";
  makeTree(f.tree / "target", {{"source", Dir{{"a.txt", File{"other size", 0644, 1000}}}}});
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_EQ(readFile(f.tree / "target/source/a.txt"), "first");
  // Not after a complete one: the date is what counts.
  writeFile(f.tree / "target/source/a.txt", "other size");
  setModified(f.tree / "target/source/a.txt", 1000);
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_EQ(readFile(f.tree / "target/source/a.txt"), "other size");
}

// A pass over changed folders may have been cut off with the machine, and nothing stored tells.
TEST_F(RunTest, FirstRunOfARealTimeJob_ComparesSizes) {
  f.job.scheduling_method = SchedulingMethod::kRealTime;
  f.job.lastBeginTime = "2009-03-03 10:00:00 +0000";
  f.job.otherKeys[kLastCompletedBeginKey] = "2009-03-03 10:00:00 +0000";
  makeTree(f.tree / "target", {{"source", Dir{{"a.txt", File{"fir", 0644, 1000}}}}});
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_EQ(readFile(f.tree / "target/source/a.txt"), "first");
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem, "*target"), 1);
}

TEST(LastRunDidNotComplete, ByTheStoredDates) {
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart info;
  const auto is = [&](const char* began, const char* completed) {
    info.lastBeginTime = began;
    info.lastCompletedBegin = completed;
    return lastRunDidNotComplete(info);
  };
  EXPECT_FALSE(is("", ""));
  EXPECT_TRUE(is("2009-03-03 10:00:00 +0000", ""));
  EXPECT_TRUE(is("2009-03-03 10:00:00 +0000", "2009-03-03 09:59:59 +0000"));
  EXPECT_FALSE(is("2009-03-03 10:00:00 +0000", "2009-03-03 11:00:00 +0100"));
  EXPECT_TRUE(is("yesterday", "2009-03-03 10:00:00 +0000"));
}

TEST_F(RunTest, CompletedRun_IsRememberedExactly) {
  f.clock.advance(std::chrono::nanoseconds(7));
  const auto begin = f.clock.now().time_since_epoch().count();
  const RunReport report = f.runOnce();
  f.stop();
  ASSERT_TRUE(report.completed);
  EXPECT_EQ(report.jobKeys.at(kLastCompletedBeginNanosecondsKey).integer(), begin);
  EXPECT_GE(report.jobKeys.at(kLastCompletedEndNanosecondsKey).integer(), begin);
  EXPECT_EQ(f.last(kDidFinishNotification).userInfo.at(kRunJobKeysKey).dictionary(), report.jobKeys);
}

TEST(LastCompletedRun, WithoutItsExactTimes_IsUnknown) {
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart info;
  info.lastCompletedBegin = "2009-03-03 10:00:00 +0000";
  info.lastCompletedBeginNanoseconds = 1'236'074'400'000'000'005;
  EXPECT_FALSE(lastCompletedRun(info));
  info.lastCompletedEndNanoseconds = 1'236'074'401'000'000'006;
  ASSERT_TRUE(lastCompletedRun(info));
  EXPECT_EQ(lastCompletedRun(info)->begin, (FileTime{1'236'074'400, 5}));
  EXPECT_EQ(lastCompletedRun(info)->end, (FileTime{1'236'074'401, 6}));
  info.lastCompletedBegin.clear();  // the job was pointed elsewhere since
  EXPECT_FALSE(lastCompletedRun(info));
}

TEST_F(RunTest, FullVolume_IsToldOnceUntilItHasRoomAgain) {
  f.job.bDisplayWarning = true;
  f.job.capacityPercentage = -1;  // free space is always below 101 percent
  EXPECT_TRUE(f.runOnce().jobKeys[kCapacityWarnedKey].boolean());
  f.runOnce();
  f.stop();
  EXPECT_THAT(f.dialogs.messages, ElementsAre(HasSubstr("job: Warning: The destination " + f.tree / "target")));
}

TEST_F(RunTest, FullVolumeThatAnotherProcessTold_IsNotToldAgain) {
  f.job.bDisplayWarning = true;
  f.job.capacityPercentage = -1;
  f.job.otherKeys[kCapacityWarnedKey] = true;
  EXPECT_FALSE(f.runOnce().jobKeys.contains(kCapacityWarnedKey));
  f.stop();
  EXPECT_THAT(f.dialogs.messages, IsEmpty());
}

}  // namespace
}  // namespace lumisk::test
