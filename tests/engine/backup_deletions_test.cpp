#include "engine/backup_deletions.h"

#include <cerrno>
#include <filesystem>

#include "engine/directory_walk.h"
#include "engine/info_files.h"
#include "engine/remembered_file_systems.h"
#include "support/faulty_file_calls.h"
#include "support/mounted_volume.h"
#include "support/own_home.h"
#include "support/run_fixture.h"
#include "support/worker_fixture.h"

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

// One walk of "s/docs" to "t/docs", which holds more; tests change things between the walk and its settlement.
class BackupDeletionsTest : public ::testing::Test {
 protected:
  BackupDeletionsTest() {
    fixture.info.nAutoDeletion = 1;
    fixture.info.targetPaths = scope.targets;
  }
  void run() {
    Trash trash(files, fixture.clock, tree / "t");
    NoRevisions revisions;
    FileCopier copier(fixture.run, revisions, trash);
    BackupDeletions deletions(fixture.run, brake, scope, BackupDeletions::List::kKept);
    DirectoryWalk walk(fixture.run, copier, deletions.recorder(), deletions.rulesFor(trash, tree / "t"));
    deletions.carry(tree / "t", scope.roots.front());
    ASSERT_TRUE(walk.copyDirectory(tree / "s/docs", tree / "t/docs", 5, 5));
    if (afterWalk) afterWalk();
    deletions.settle();
  }
  std::vector<std::string> target() { return treeListing(tree / "t/docs"); }
  bool hasList() { return exists(fileListFolder() + "/" + fileListName("job")); }

  TempTree tree{{"s", Dir{{"docs", Dir{{"a", File{"a"}}, {"d", Dir{{"x", File{"x"}}}}}}}},
                {"t", Dir{{"docs", Dir{{"d", Dir{{"e", Dir{{"z", File{"z"}}}}, {"y", File{"y"}}}}, {"f", File{"f"}}}}}},
                {"home", Dir{}}};
  OwnHome home{tree / "home"};
  FaultyFileCalls files;
  RunFixture fixture{PaceKind::kFull, files};
  DeletionScope scope{{{tree / "s/docs", tree / "t/docs"}}, {tree / "t"}, {}};
  DeletionBrake brake;
  std::function<void()> afterWalk;
};

TEST_F(BackupDeletionsTest, WhatTheSourceLacks_GoesAfterTheCopies) {
  afterWalk = [this] {
    EXPECT_EQ(target(), (std::vector<std::string>{"a", "d/", "d/e/", "d/e/z", "d/x", "d/y", "f"}));
  };
  run();
  EXPECT_EQ(target(), (std::vector<std::string>{"a", "d/", "d/x"}));
  EXPECT_EQ(fixture.run.counts.deleted, 4u);
  EXPECT_EQ(fixture.run.counts.errors, 0u);
  EXPECT_TRUE(hasList());
}

TEST_F(BackupDeletionsTest, CameBackOrChangedSinceTheWalk_Stays) {
  afterWalk = [this] {
    writeFile(tree / "s/docs/f", "again");
    writeFile(tree / "t/docs/d/y", "somebody's edit");
  };
  run();
  EXPECT_EQ(target(), (std::vector<std::string>{"a", "d/", "d/x", "d/y", "f"}));
  EXPECT_EQ(fixture.run.counts.errors, 1u) << "that something else writes into the target is told";
}

TEST_F(BackupDeletionsTest, CancelledAfterTheWalk_DeletesNothingAndKeepsNoList) {
  afterWalk = [this] { fixture.cancelled = true; };
  run();
  EXPECT_TRUE(exists(tree / "t/docs/f") && exists(tree / "t/docs/d/e/z"));
  EXPECT_FALSE(hasList());
}

TEST_F(BackupDeletionsTest, SourceThatCannotBeListedAnyMore_KeepsItsFolder) {
  afterWalk = [this] { files.fail(FileCall::kListFolder, EIO, {.times = FaultyFileCalls::kAlways}); };
  run();
  EXPECT_TRUE(exists(tree / "t/docs/f") && exists(tree / "t/docs/d/e/z"));
  EXPECT_GT(fixture.run.counts.errors, 0u);
}

TEST_F(BackupDeletionsTest, GoneMount_KeepsItsPartAndWhatHeldIt) {
  scope.unbelieved = {tree / "s/docs/d/e"};
  run();
  EXPECT_EQ(target(), (std::vector<std::string>{"a", "d/", "d/e/", "d/e/z", "d/x"}));
}

TEST_F(BackupDeletionsTest, TooMany_AreCountedWithAllTheyHoldAndHeld) {
  for (int i = 0; i < 18; ++i) writeFile(tree / ("t/docs/d/e/" + std::to_string(i)), "");
  run();
  EXPECT_EQ(fixture.run.counts.held, 22u);
  EXPECT_EQ(fixture.run.counts.deleted, 0u);
  EXPECT_TRUE(exists(tree / "t/docs/f") && exists(tree / "s/docs/a"));
  EXPECT_FALSE(hasList());
  fixture.run.counts.held = 0;
  brake.isReleased = true;
  run();
  EXPECT_EQ(fixture.run.counts.deleted, 22u);
  EXPECT_EQ(target(), (std::vector<std::string>{"a", "d/", "d/x"}));
}

TEST_F(BackupDeletionsTest, DryRun_TellsAndDeletesNothing) {
  std::vector<std::string> told;
  fixture.run.dryRun = true;
  fixture.run.onEntry = [&](EntryOutcome outcome, const std::string& path, const std::string& reason) {
    if (outcome != EntryOutcome::kDeleted) return;
    told.push_back(path);
    EXPECT_EQ(reason, "not in the source");
  };
  run();
  EXPECT_EQ(told, (std::vector<std::string>{tree / "t/docs/f", tree / "t/docs/d/e", tree / "t/docs/d/y"}));
  EXPECT_EQ(target(), (std::vector<std::string>{"d/", "d/e/", "d/e/z", "d/y", "f"}));
  EXPECT_FALSE(hasList());
}

// The places of a job, over several runs of one worker.

TEST(KnownPlaces, TargetWithoutItsMarker_ReceivesNothingUntilAccepted) {
  WorkerFixture f;
  EXPECT_TRUE(f.runOnce().completed);
  fs::rename(f.tree / "target", f.tree / "volume");
  makeTree(f.tree.path(), {{"target", Dir{}}});
  const RunReport bare = f.runOnce();
  EXPECT_TRUE(bare.targetProblem && bare.placeInDoubt && !bare.completed);
  EXPECT_THAT(listing(f.tree / "target"), ::testing::IsEmpty());
  RunOptions options;
  options.acceptTarget = true;
  f.worker().setRunOptions(options);
  EXPECT_TRUE(f.runOnce().completed);
  f.worker().setRunOptions({});
  EXPECT_TRUE(f.runOnce().completed) << "the accepted target was not marked";
  ExpectSameTrees(f.tree / "source", f.tree / "target/source");
}

TEST(KnownPlaces, MarkerOfATwoWayTarget_IsNotCarriedToTheSource) {
  WorkerFixture f;
  f.job.jobType = JobType::kSyncWithConflicts;
  for (int run = 0; run < 2; ++run) ASSERT_TRUE(f.runOnce().completed) << f.log();
  for (const std::string& name : listing(f.tree / "source")) EXPECT_FALSE(isInfoFileName(name)) << name;
}

TEST(KnownPlaces, SourceOnAnotherFileSystem_IsNotCarriedUntilAccepted) {
  WorkerFixture f;
  const RememberedFileSystem other{f.tree / "source", "/mnt/x", "another", "ext4", "/dev/sdz9"};
  f.job.otherKeys[kRootFileSystemsKey] = fileSystemsToList({other});
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.sourceProblem && report.placeInDoubt);
  EXPECT_FALSE(report.jobKeys.contains(kRootFileSystemsKey)) << "another file system was remembered unasked";
  EXPECT_FALSE(exists(f.tree / "target/source"));
  RunOptions options;
  options.acceptSource = true;
  f.worker().setRunOptions(options);
  EXPECT_TRUE(f.runOnce().completed);
  f.worker().setRunOptions({});
  EXPECT_TRUE(f.runOnce().completed);
}

// A volume below the source that is pulled away in the middle of a run takes nothing of its copy with it, neither by
// what the walk misses nor by the list of the last run's files.
TEST(KnownPlaces, MountThatGoesDuringTheRun_KeepsItsPartOfTheTarget) {
  for (const char* step : {"walk", "list"}) {
    MountedVolume volume("ext4", 16);
    if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
    FaultyFileCalls files;
    WorkerFixture f(files);
    const std::string source = paths::parent(volume.path());
    const std::string copy = f.tree / "target" + "/" + paths::lastComponent(source);
    f.job.sourcePaths = {source};
    f.job.nAutoDeletion = 1;
    writeFile(volume / "a", "a");
    makeTree(source, {{"zz", Dir{{"gone", File{"gone"}}}}});
    ASSERT_TRUE(f.runOnce().completed) << f.log();
    fs::remove(source + "/zz/gone");
    const bool isWalk = std::string(step) == "walk";
    files.before(isWalk ? FileCall::kOpenFolder : FileCall::kRename, [&] { volume.pullAway(); },
                 {.name = isWalk ? "mount" : "gone"});
    const RunReport report = f.runOnce();
    EXPECT_TRUE(exists(copy + "/mount/a")) << step << "\n" << f.log();
    EXPECT_FALSE(report.completed) << step;
    EXPECT_TRUE(isWalk || !exists(copy + "/zz/gone"));
  }
}

// Some file systems show empty folders when their disk has gone, while the mount stands as before.
TEST(KnownPlaces, SourceWhoseDiskDoesNotAnswer_KeepsItsCopyAndIsTold) {
  FaultyFileCalls files;
  WorkerFixture f(files);
  f.job.nAutoDeletion = 1;
  ASSERT_TRUE(f.runOnce().completed) << f.log();
  fs::remove_all(f.tree / "source/d");
  files.fail(FileCall::kCheckDisk, EIO, {.times = FaultyFileCalls::kAlways});
  const RunReport report = f.runOnce();
  EXPECT_TRUE(exists(f.tree / "target/source/d/b.txt")) << f.log();
  EXPECT_TRUE(report.sourceProblem && !report.completed);
  files.forgetRules();
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_FALSE(exists(f.tree / "target/source/d"));
}

TEST(KnownPlaces, MountBelowASourceThatIsALink_IsRemembered) {
  MountedVolume volume("ext4", 16);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  WorkerFixture f;
  fs::create_symlink(paths::parent(volume.path()), f.tree / "link");
  f.job.sourcePaths = {f.tree / "link"};
  f.job.nAutoDeletion = 1;
  writeFile(volume / "a", "a");
  ASSERT_TRUE(f.runOnce().completed) << f.log();
  volume.pullAway();
  EXPECT_TRUE(f.runOnce().sourceProblem);
  EXPECT_TRUE(exists(f.tree / "target/link/mount/a"));
}

// A disk that is plugged in while other sources are carried is looked at like one that was there from the beginning.
TEST(KnownPlaces, SourceThatComesDuringTheRun_IsChecked) {
  FaultyFileCalls files;
  WorkerFixture f(files);
  const RememberedFileSystem other{f.tree / "late", "/mnt/x", "another", "ext4", "/dev/sdz9"};
  f.job.otherKeys[kRootFileSystemsKey] = fileSystemsToList({other});
  f.job.sourcePaths = {f.tree / "source", f.tree / "late"};
  files.before(FileCall::kCreateFile,
               [&] {
                 makeTree(f.tree.path(), {{"late", Dir{{"x", File{"x"}}}}});
               },
               {.name = ".lumisk-*"});
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.sourceProblem && report.placeInDoubt) << f.log();
  EXPECT_FALSE(exists(f.tree / "target/late"));
}

}  // namespace
}  // namespace lumisk::test
