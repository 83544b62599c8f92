#include "engine/revision_store.h"

#include <fmt/format.h>
#include <rapidcheck.h>

#include <cerrno>
#include <filesystem>

#include "engine/tagged_name.h"
#include "support/faulty_file_calls.h"
#include "support/mounted_volume.h"
#include "support/own_home.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

using Kept = VersionKeeper::Kept;

// A target with one file, "d/a.txt", whose versions are "v1", "v2", ...
class Target {
 public:
  explicit Target(RevisionMethod method = RevisionMethod::kUnlimited, int limit = 3) {
    fixture.info.targetPaths = {tree / "t"};
    fixture.info.revision_method = method;
    fixture.info.revision_maxNumber = limit;
    write(1);
  }
  void write(int version) { writeFile(tree / "t/d/a.txt", "v" + std::to_string(version)); }

  // As a run does it: a store of its own, the version kept first, then replaced by a rename.
  Result<Kept> overwrite(int version) {
    RevisionStore store(fixture.run, trash, PlaceNames{"desk", "Root"});
    const Place place = fixture.place(tree / "t/d/a.txt");
    auto kept = store.keep(place, RunFixture::seen(place));
    if (!kept) return kept;
    writeFile(tree / "t/d/new", "v" + std::to_string(version));
    std::filesystem::rename(tree / "t/d/new", tree / "t/d/a.txt");
    return kept;
  }

  // The texts of the revisions by number; fails on anything else in the revision folder.
  std::vector<std::string> revisions() {
    const std::string folder = tree / "t/Revision/d";
    std::vector<std::string> texts;
    if (!exists(folder)) return texts;
    const auto names = listing(folder);
    for (int number = 1; texts.size() < names.size(); ++number) {
      const std::string path = folder + "/" + revisionName("a.txt", number);
      if (!exists(path)) {
        ADD_FAILURE() << "missing " << path;
        break;
      }
      texts.push_back(readFile(path));
    }
    return texts;
  }
  std::set<std::string> allVersions() { return textsBelow(tree / "t"); }

  TempTree tree{{"t", Dir{{"d", Dir{}}}}};
  OwnHome home{tree.path()};
  FaultyFileCalls files;
  RunFixture fixture{PaceKind::kFull, files};
  Trash trash{files, fixture.clock, tree / "t"};
};

std::vector<std::string> versions(int first, int last) {
  std::vector<std::string> texts;
  for (int version = first; version <= last; ++version) texts.push_back("v" + std::to_string(version));
  return texts;
}

TEST(RevisionStore_Unlimited, EachOverwrite_TakesTheNextNumber) {
  Target target;
  for (int version = 2; version <= 5; ++version) EXPECT_EQ(target.overwrite(version), Kept::kLinked);
  EXPECT_EQ(target.revisions(), versions(1, 4));
  std::filesystem::remove(target.tree / "t/Revision/d/a(Qel Lumisk 2).txt");
  ASSERT_TRUE(target.overwrite(6));
  EXPECT_EQ(target.revisions(), (std::vector<std::string>{"v1", "v5", "v3", "v4"}));
}

TEST(RevisionStore_Unlimited, ManyRevisionsAndManyFiles_CostOneListing) {
  Target target;
  std::vector<std::pair<std::string, Node>> old, files;
  for (int i = 1; i <= 300; ++i) old.emplace_back(revisionName("a.txt", i), File{"x"});
  for (int i = 0; i < 20; ++i) files.emplace_back("f" + std::to_string(i), File{"x"});
  makeTree(target.tree / "t", {{"Revision", Dir{{"d", Dir{}}}}, {"e", Dir{{"g", File{"x"}}}}});
  makeTree(target.tree / "t/Revision/d", old);
  makeTree(target.tree / "t/d", {{"sub", Dir{{"g", File{"x"}}}}});
  makeTree(target.tree / "t/d", files);
  RevisionStore store(target.fixture.run, target.trash, {});
  const auto keep = [&](const std::string& name) {
    const Place place = target.fixture.place(target.tree / ("t/" + name));
    return store.keep(place, RunFixture::seen(place));
  };
  ASSERT_EQ(keep("d/a.txt"), Kept::kLinked);
  EXPECT_TRUE(exists(target.tree / "t/Revision/d/a(Qel Lumisk 301).txt"));
  EXPECT_LE(target.files.count(FileCall::kStatus), 3);
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(keep("d/f" + std::to_string(i)));
    if (i == 10) {
      ASSERT_TRUE(keep("d/sub/g"));  // the walk goes down and comes back
    }
  }
  EXPECT_EQ(target.files.count(FileCall::kListFolder), 2);
  ASSERT_TRUE(keep("e/g"));
  EXPECT_EQ(target.files.count(FileCall::kListFolder), 3);
}

TEST(RevisionStore_Limited, FourthOverwrite_LeavesTheThreeMostRecent) {
  Target target(RevisionMethod::kLimited, 3);
  for (int version = 2; version <= 5; ++version) ASSERT_EQ(target.overwrite(version), Kept::kLinked);
  EXPECT_EQ(target.revisions(), versions(2, 4));
  ASSERT_TRUE(target.overwrite(6));
  EXPECT_EQ(target.revisions(), versions(3, 5));
  EXPECT_TRUE(target.fixture.log.lines.empty());
}

TEST(RevisionStore_Limited, LoweredLimit_IsReachedWithoutMixingTheOrder) {
  Target target(RevisionMethod::kUnlimited);
  for (int version = 2; version <= 8; ++version) ASSERT_TRUE(target.overwrite(version));  // keeps 1..7
  target.fixture.info.revision_method = RevisionMethod::kLimited;
  ASSERT_TRUE(target.overwrite(9));
  EXPECT_EQ(target.revisions(), versions(3, 8));
  for (int version = 10; version <= 13; ++version) ASSERT_TRUE(target.overwrite(version));
  EXPECT_EQ(target.revisions(), versions(10, 12));
}

// Fails the nth call that changes something, for every n, once as an error and once as a crash (every call after it
// fails, too); then a run without faults follows.
void failEveryStep(Target& target, int times, int nth) {
  static constexpr FileCall kChanges[] = {FileCall::kLink, FileCall::kRename, FileCall::kRemoveFile};
  for (const FileCall call : kChanges) target.files.fail(call, EIO, {.name = "a*", .nth = nth, .times = times});
}

TEST(RevisionStore_Limited, FailureOrCrashAtAnyStep_LosesNothingButWhatTheLimitRemoves) {
  for (const RevisionMethod method : {RevisionMethod::kUnlimited, RevisionMethod::kLimited})
    for (const int times : {1, FaultyFileCalls::kAlways})
      for (int nth = 1; nth <= 5; ++nth) {
        SCOPED_TRACE(fmt::format("method {} times {} step {}", static_cast<int>(method), times, nth));
        Target target(method, 3);
        for (int version = 2; version <= 4; ++version) ASSERT_TRUE(target.overwrite(version));  // keeps 1..3
        failEveryStep(target, times, nth);
        const bool isKept = target.overwrite(5).has_value();
        target.files.forgetRules();
        auto all = target.allVersions();
        for (const char* text : {"v2", "v3", "v4"}) EXPECT_EQ(all.count(text), 1u) << text;
        EXPECT_EQ(readFile(target.tree / "t/d/a.txt"), isKept ? "v5" : "v4");
        target.write(5);
        ASSERT_TRUE(target.overwrite(6));
        all = target.allVersions();
        EXPECT_EQ(all.count("v3") + all.count("v5") + all.count("v6"), 3u);
        const auto revisions = target.revisions();
        EXPECT_EQ(revisions.back(), "v5");
        EXPECT_TRUE(std::is_sorted(revisions.begin(), revisions.end()));
      }
}

TEST(RevisionStore_Limited, CrashBetweenKeepingAndReplacing_KeepsTheVersionOnce) {
  Target target(RevisionMethod::kLimited, 3);
  ASSERT_TRUE(target.overwrite(2));
  const Place place = target.fixture.place(target.tree / "t/d/a.txt");
  for (int crash = 0; crash < 4; ++crash) {
    RevisionStore store(target.fixture.run, target.trash, {});
    ASSERT_EQ(store.keep(place, RunFixture::seen(place)), Kept::kLinked);
  }
  EXPECT_EQ(target.revisions(), versions(1, 2));
  ASSERT_TRUE(target.overwrite(3));
  ASSERT_TRUE(target.overwrite(4));
  EXPECT_EQ(target.revisions(), versions(1, 3));
}

TEST(RevisionStore_Methods, AnyHistory_KeepsTheMostRecentInOrder) {
  EXPECT_TRUE(rc::check([] {
    const int limit = *rc::gen::inRange(1, 6);
    const int overwrites = *rc::gen::inRange(1, 12);
    Target target(RevisionMethod::kLimited, limit);
    for (int version = 2; version <= overwrites + 1; ++version) RC_ASSERT(target.overwrite(version).has_value());
    RC_ASSERT(target.revisions() == versions(std::max(1, overwrites - limit + 1), overwrites));
  }));
}

TEST(RevisionStore_Place, WhatStandsInTheWay_GoesToTheTrash) {
  Target target;
  makeTree(target.tree / "t", {{"Revision", Dir{{"d", File{"in the way"}}}}});
  ASSERT_EQ(target.overwrite(2), Kept::kLinked);
  EXPECT_EQ(target.revisions(), versions(1, 1));
  EXPECT_EQ(readFile(target.tree / ".local/share/Trash/files/d"), "in the way");
  EXPECT_EQ(std::filesystem::status(target.tree / "t/Revision").permissions(), std::filesystem::perms{0755});
}

TEST(RevisionStore_Place, LinkInTheWay_IsNotFollowed) {
  Target target;
  makeTree(target.tree.path(), {{"elsewhere", Dir{}}});
  makeTree(target.tree / "t", {{"Revision", Link{"../elsewhere"}}});
  ASSERT_TRUE(target.overwrite(2));
  EXPECT_TRUE(listing(target.tree / "elsewhere").empty());
  EXPECT_EQ(target.revisions(), versions(1, 1));
  EXPECT_EQ(std::filesystem::status(target.tree / "t/Revision").permissions(), std::filesystem::perms::owner_all);
}

TEST(RevisionStore_Kinds, FolderOrNoHardLinks_IsMoved) {
  Target target;
  target.files.fail(FileCall::kLink, EPERM, {.times = FaultyFileCalls::kAlways});
  const Place file = target.fixture.place(target.tree / "t/d/a.txt");
  makeTree(target.tree / "t/d", {{"folder.d", Dir{{"f", File{"x"}}}}});
  const Place folder = target.fixture.place(target.tree / "t/d/folder.d");
  RevisionStore store(target.fixture.run, target.trash, {});
  EXPECT_EQ(store.keep(file, RunFixture::seen(file)), Kept::kMoved);
  EXPECT_EQ(store.keep(folder, RunFixture::seen(folder)), Kept::kMoved);
  ExpectTreeExactly(
      target.tree / "t",
      {{"d", Dir{}},
       {"Revision",
        Dir{{"d", Dir{{"a(Qel Lumisk 1).txt", File{"v1"}}, {"folder(Qel Lumisk 1).d", Dir{{"f", File{"x"}}}}}}}}});
}

TEST(RevisionStore_Kinds, OtherFileSystem_GetsACopyAndTheFileStays) {
  const MountedVolume volume("tmpfs", 4);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  Target target;
  target.fixture.info.targetPaths = {volume.path()};
  target.fixture.info.jobType = JobType::kSyncWithRevisions;
  makeTree(target.tree / "t/d", {{"l", Link{"nowhere"}}, {"folder", Dir{{"f", File{"x"}}}}});
  RevisionStore store(target.fixture.run, target.trash, PlaceNames{"desk", "Root"});
  for (const char* name : {"a.txt", "l", "folder"}) {
    const Place place = target.fixture.place(target.tree / ("t/d/" + std::string(name)));
    const auto kept = store.keep(place, RunFixture::seen(place));
    EXPECT_EQ(kept, name == std::string("folder") ? Kept::kMoved : Kept::kLinked) << name;
  }
  const std::string revision = volume / "Revision/desk/Volumes/Root" + target.tree.path() + "/t/d";
  ExpectTreeExactly(revision, {{"a(Qel Lumisk 1).txt", File{"v1"}}, {"l(Qel Lumisk 1)", Link{"nowhere"}}});
  ExpectTreeExactly(target.tree / "t", {{"d", Dir{{"a.txt", File{"v1"}}, {"l", Link{"nowhere"}}}}});
}

TEST(RevisionStore_Place, TargetPulledAway_LeavesItsBarePlaceAlone) {
  MountedVolume volume("tmpfs", 4);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  makeTree(volume.path(), {{"a", File{"v1"}}});
  Target target;
  target.fixture.info.targetPaths = {volume.path()};
  RevisionStore store(target.fixture.run, target.trash, {});
  const Place place = target.fixture.place(volume / "a");
  volume.pullAway();
  EXPECT_EQ(store.keep(place, RunFixture::seen(place)), Kept::kLinked);
  EXPECT_TRUE(listing(volume.path()).empty());
}

TEST(RevisionStore_Jobs, NoMethodOrConflictJob_DoesNothing) {
  Target target(RevisionMethod::kNone);
  EXPECT_EQ(target.overwrite(2), Kept::kNothing);
  target.fixture.info.revision_method = RevisionMethod::kLimited;
  target.fixture.info.jobType = JobType::kSyncWithConflicts;
  EXPECT_EQ(target.overwrite(3), Kept::kNothing);
  EXPECT_EQ(listing(target.tree / "t"), std::vector<std::string>{"d"});
}

}  // namespace
}  // namespace lumisk::test
