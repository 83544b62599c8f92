#include "engine/auto_deletion.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>

#include "engine/entry_removal.h"
#include "support/faulty_file_calls.h"
#include "support/mounted_volume.h"
#include "support/own_home.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

// A job that carried "s/docs" to "t/docs"; afterwards tests take things away from the source.
class AutoDeletionTest : public ::testing::Test {
 protected:
  AutoDeletionTest() {
    fixture.info.targetPaths = scope.targets;
    record({"", "/a", "/b", "/d", "/d/x", "/d/y", "/d/e", "/d/e/z"});
  }
  void record(const std::vector<std::string>& places) {
    FileList list(realFileCalls(), tree / "lists");
    ASSERT_TRUE(list.openFilelist("job", FileListMode::kWrite));
    FileListRecorder recorder(list);
    for (const std::string& place : places) recorder.recordPair(tree / ("s/docs" + place), tree / ("t/docs" + place));
    ASSERT_TRUE(list.closeFilelist());
  }
  void removeSource(const std::string& place) { std::filesystem::remove_all(tree / ("s/docs" + place)); }

  DeletionPlan run() {
    DeletionPlan seen;
    AutoDeletion(fixture.run, trash, scope, tree / "lists").autoDeleteion([&](const DeletionPlan& plan) {
      seen = plan;
      return true;
    });
    return seen;
  }
  std::vector<std::string> target() { return treeListing(tree / "t/docs"); }

  const Dir kDocs{
      {"a", File{"a"}}, {"b", File{"b"}}, {"d", Dir{{"e", Dir{{"z", File{"z"}}}}, {"x", File{"x"}}, {"y", File{"y"}}}}};
  const std::vector<std::string> kAll{"a", "b", "d/", "d/e/", "d/e/z", "d/x", "d/y"};
  TempTree tree{{"s", Dir{{"docs", kDocs}}}, {"t", Dir{{"docs", kDocs}}}, {"lists", Dir{}}};
  OwnHome home{tree.path()};
  FaultyFileCalls files;
  RunFixture fixture{PaceKind::kFull, files};
  Trash trash{files, fixture.clock, tree / "t"};
  DeletionScope scope{{{tree / "s/docs", tree / "t/docs"}}, {tree / "t"}, {}};
};

TEST_F(AutoDeletionTest, GoneSources_TakeTheirCopiesAlongAndSaySo) {
  removeSource("/a");
  removeSource("/d/e");
  EXPECT_EQ(run().deletions, 3u);
  EXPECT_EQ(target(), (std::vector<std::string>{"b", "d/", "d/x", "d/y"}));
  EXPECT_EQ(fixture.run.counts.deleted, 2u);
  EXPECT_EQ(fixture.log.lines,
            (std::vector<std::string>{
                "job: Auto deletion starting . . . 16\n", "job: Auto deletion . . . " + tree / "t/docs/a" + "\n",
                "job: Auto deletion . . . " + tree / "t/docs/d/e" + "\n", "job: Auto deletion stopped ---- 16, 2\n"}));
}

TEST_F(AutoDeletionTest, WithTrash_NothingIsLost) {
  fixture.info.bMoveFileTrash = true;
  removeSource("/d");
  run();
  EXPECT_EQ(target(), (std::vector<std::string>{"a", "b"}));
  bool isThere = false;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.path()))
    isThere |= entry.path().string().ends_with("/files/d/e/z");
  EXPECT_TRUE(isThere);
}

TEST_F(AutoDeletionTest, MissingRootOrTarget_DeletesNothing) {
  std::filesystem::rename(tree / "s/docs", tree / "s/away");
  run();
  EXPECT_EQ(target(), kAll);
  EXPECT_EQ(fixture.run.counts.errors, 1u);
  std::filesystem::create_directory(tree / "s/docs");
  std::filesystem::rename(tree / "t", tree / "u");
  run();
  EXPECT_EQ(treeListing(tree / "u/docs"), kAll);
}

TEST_F(AutoDeletionTest, WhatCannotBeLookedAt_IsAnErrorAndNoDeletion) {
  for (const int code : {EACCES, EIO, ESTALE, ENOTCONN})
    for (const FileCall call : {FileCall::kStatus, FileCall::kOpenFolder, FileCall::kListFolder, FileCall::kOpenRoot}) {
      SCOPED_TRACE(fmt::format("call {} code {}", static_cast<int>(call), code));
      files.forgetRules();
      fixture.run.counts = {};
      files.fail(call, code, {.times = FaultyFileCalls::kAlways});
      removeSource("/d/e/z");
      AutoDeletion deletion(fixture.run, trash, scope, tree / "lists");
      deletion.carryOut({8, 8, 8});
      EXPECT_EQ(target(), kAll);
      files.forgetRules();
    }
}

TEST_F(AutoDeletionTest, FolderThatListsWhatItCannotFind_IsNotBelieved) {
  files.fail(FileCall::kStatus, ENOENT, {.name = "x"});  // the source's: it is asked for first
  const auto plan = AutoDeletion(fixture.run, trash, scope, tree / "lists").plan();
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->deletions, 0u);
}

TEST_F(AutoDeletionTest, TargetFolderSwappedForALink_LeadsNowhere) {
  removeSource("/d/x");
  std::filesystem::rename(tree / "t/docs/d", tree / "elsewhere");
  std::filesystem::create_directory_symlink(tree / "elsewhere", tree / "t/docs/d");
  EXPECT_EQ(run().deletions, 0u);
  EXPECT_TRUE(exists(tree / "elsewhere/x"));
}

TEST_F(AutoDeletionTest, SourceFolderSwappedForALink_IsLeftToTheWalk) {
  std::filesystem::rename(tree / "s/docs/d", tree / "s/moved");
  std::filesystem::create_directory_symlink(tree / "s/moved", tree / "s/docs/d");
  EXPECT_EQ(run().deletions, 0u);
  EXPECT_EQ(target(), kAll);
}

TEST_F(AutoDeletionTest, SourcePulledAwayMeanwhile_DeletesNothing) {
  MountedVolume volume("tmpfs", 4);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  makeTree(volume.path(), {{"a", File{"a"}}});
  scope.roots = {{volume.path(), tree / "t/docs"}};
  FileList list(files, tree / "lists");
  ASSERT_TRUE(list.openFilelist("job", FileListMode::kWrite));
  FileListRecorder(list).recordPair(volume / "a", tree / "t/docs/a");
  ASSERT_TRUE(list.closeFilelist());
  AutoDeletion deletion(fixture.run, trash, scope, tree / "lists");
  volume.pullAway();
  deletion.autoDeleteion([](const DeletionPlan&) { return true; });
  EXPECT_EQ(target(), kAll);
}

TEST_F(AutoDeletionTest, PlannedNumber_IsNeverExceeded) {
  removeSource("/a");
  AutoDeletion deletion(fixture.run, trash, scope, tree / "lists");
  const auto plan = deletion.plan();
  ASSERT_TRUE(plan);
  EXPECT_EQ(plan->pairs, 8u);
  EXPECT_EQ(plan->deletions, 1u);
  EXPECT_EQ(target(), kAll);
  removeSource("/b");
  removeSource("/d");
  deletion.carryOut(*plan);
  EXPECT_EQ(fixture.run.counts.deleted, 1u);
  EXPECT_GT(fixture.run.counts.held, 0u);
}

TEST_F(AutoDeletionTest, RefusedDeletions_AreHeld) {
  removeSource("/a");
  AutoDeletion(fixture.run, trash, scope, tree / "lists").autoDeleteion([](const DeletionPlan&) { return false; });
  EXPECT_EQ(target(), kAll);
  EXPECT_EQ(fixture.run.counts.held, 1u);
}

TEST_F(AutoDeletionTest, StopOrDryRun_DeletesNothing) {
  removeSource("/a");
  fixture.run.dryRun = true;
  EXPECT_EQ(run().deletions, 1u);
  EXPECT_EQ(fixture.run.counts.deleted, 1u);
  fixture.run.dryRun = false;
  fixture.cancelled = true;
  run();
  EXPECT_EQ(target(), kAll);
}

TEST_F(AutoDeletionTest, DamagedList_DeletesNothingThatItDoesNotName) {
  removeSource("/a");
  const std::string path = tree / "lists/job.qellumiskdat";
  const std::string whole = readFile(path);
  for (std::size_t i = 20; i < whole.size(); ++i) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ 1);
    writeFile(path, damaged);
    run();
    auto left = target();
    if (left.front() != "a") left.insert(left.begin(), "a");
    ASSERT_EQ(left, kAll) << i;
    writeFile(tree / "t/docs/a", "a");
  }
}

class SyncDirectoryTest : public AutoDeletionTest {
 protected:
  void sync() {
    const std::string source = tree / "s/docs";
    const std::string destination = tree / "t/docs";
    const auto from = realFileCalls().openRoot(source);
    const auto to = realFileCalls().openRoot(destination);
    const auto sourceNames = listNames(realFileCalls(), from->get());
    const auto destinationNames = listNames(realFileCalls(), to->get());
    if (afterListing) afterListing();
    AutoDeletion(fixture.run, trash, scope)
        .syncDirectory({from->get(), source, *sourceNames}, {to->get(), destination, *destinationNames},
                       [this](const AutoDeletion::Doomed& doomed) {
                         EXPECT_TRUE(discardEntry(fixture.run, trash, doomed.place, doomed.standing));
                       });
  }
  std::function<void()> afterListing;
};

TEST_F(SyncDirectoryTest, WhatTheSourceLacks_GoesButNotOurOwnFiles) {
  removeSource("/d");
  makeTree(tree / "s/docs", {{".localized", File{}}});
  makeTree(tree / "t/docs",
           {{".localized", File{}}, {".lumisk-0123456789ab", File{}}, {"_XXXQelLumiskinfo_j", File{}}});
  sync();
  EXPECT_EQ(target(), (std::vector<std::string>{".lumisk-0123456789ab", "_XXXQelLumiskinfo_j", "a", "b"}));
}

TEST_F(SyncDirectoryTest, MadeSinceTheListingOrNotToBeRead_Stays) {
  removeSource("/a");
  removeSource("/b");
  afterListing = [this] { writeFile(tree / "s/docs/a", "again"); };
  files.fail(FileCall::kStatus, EIO, {.name = "b"});
  sync();
  EXPECT_EQ(target(), kAll);
  EXPECT_EQ(fixture.run.counts.errors, 1u);
}

TEST_F(SyncDirectoryTest, SpellingOfTheFileSystem_IsNoDeletion) {
  removeSource("/a");
  writeFile(tree / "s/docs/\xC3\x84", "a");                                                // "Ä"
  std::filesystem::rename(tree / "t/docs/a", tree / "t/docs/A\xCC\x88");                   // the same, decomposed
  std::filesystem::create_hard_link(tree / "t/docs/A\xCC\x88", tree / "t/docs/\xC3\x84");  // what folding looks like
  sync();
  EXPECT_TRUE(exists(tree / "t/docs/A\xCC\x88"));
  std::filesystem::remove(tree / "t/docs/\xC3\x84");
  sync();
  EXPECT_FALSE(exists(tree / "t/docs/A\xCC\x88"));
}

}  // namespace
}  // namespace lumisk::test
