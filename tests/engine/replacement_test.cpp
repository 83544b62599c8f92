#include <set>

#include "engine/file_copier_fixture.h"

namespace lumisk::test {
namespace {

using Trashed = std::map<std::string, std::string>;

class TrashTest : public CopierFixture {
 protected:
  TrashTest() { run.info.bMoveFileTrash = true; }
  // Without the folder that holds the Trash when the usual one could not be had.
  [[nodiscard]] std::vector<std::string> targetNames() const {
    auto names = listing(tree / "t");
    std::erase(names, "Revision");
    return names;
  }
  void forbid(FileCall call, int code) { files.fail(call, code, {.times = FaultyFileCalls::kAlways}); }
};
INSTANTIATE_TEST_SUITE_P(Pace, TrashTest, kBothPaces, paceName);

TEST_P(TrashTest, Overwrite_PutsTheOldVersionThereAndIsNeverAbsent) {
  const std::vector<std::vector<FileCall>> missing = {{}, {FileCall::kLink}, {FileCall::kLink, FileCall::kExchange}};
  for (std::size_t i = 0; i < missing.size(); ++i) {
    const std::string name = "a" + std::to_string(i);
    makeTree(tree / "s", {{name, File{"new", {}, 2000}}});
    makeTree(tree / "t", {{name, File{"old"}}});
    files.forgetRules();
    forbidForeignTrash(files);
    for (const FileCall call : missing[i]) forbid(call, EINVAL);
    bool wasAbsent = false;
    bool passedForLeftover = false;
    const auto look = [&] {
      wasAbsent = wasAbsent || !exists(tree / ("t/" + name));
      for (const std::string& other : targetNames())
        passedForLeftover = passedForLeftover || (isTemporaryName(other) && readFile(tree / ("t/" + other)) == "old" &&
                                                  trashed().count(name) == 0);
    };
    files.before(FileCall::kAny, look, {.times = FaultyFileCalls::kAlways});
    const auto copied = copy(name);
    ASSERT_TRUE(copied) << copied.error().text();
    EXPECT_EQ(wasAbsent, i == 2);
    EXPECT_FALSE(passedForLeftover);
    EXPECT_EQ(readFile(tree / ("t/" + name)), "new");
    EXPECT_EQ(trashed()[name], "old");
  }
  EXPECT_EQ(listing(tree / "t").size(), missing.size());
}

TEST_P(TrashTest, NoTrashToBeHad_LeavesTheEarlierVersion) {
  makeTree(tree / "s", {{"a", File{"new"}}});
  makeTree(tree / "t", {{"a", File{"old"}}});
  forbid(FileCall::kMakeFolder, EROFS);
  EXPECT_FALSE(copy("a"));
  ExpectTreeExactly(tree / "t", Dir{{"a", File{"old"}}});
  EXPECT_TRUE(exists(tree / "s/a"));
}

TEST_P(TrashTest, NewNames_PutNothingThere) {
  makeTree(tree / "s", {{"a", File{"new"}}});
  ASSERT_TRUE(copy("a"));
  EXPECT_TRUE(trashed().empty());
}

TEST_P(TrashTest, ThingsOfAnotherType_AreKeptEvenWhenFilesAreNot) {
  run.info.bMoveFileTrash = false;
  makeTree(tree / "s", {{"plain", File{"new"}}, {"folder", File{"new"}}, {"link", File{"new"}}, {"fifo", File{"new"}}});
  makeTree(tree / "t", {{"plain", File{"old"}},
                        {"folder", Dir{{"inside", File{"precious"}}}},
                        {"link", Link{"elsewhere"}},
                        {"fifo", Fifo{}}});
  for (const char* name : {"plain", "folder", "link"}) ASSERT_TRUE(copy(name)) << name;
  EXPECT_EQ(trashed(), (Trashed{{"folder", "/"}, {"link", "->elsewhere"}}));
  ASSERT_TRUE(copy("fifo"));
  ExpectSameTrees(tree / "s/folder", tree / "t/folder");
  EXPECT_EQ(listing(tree / "t"), (std::vector<std::string>{"fifo", "folder", "link", "plain"}));
  bool found = false;
  for (const std::string& path : treeListing(tree.path())) found = found || path.ends_with("/files/folder/inside");
  EXPECT_TRUE(found);
}

TEST_P(TrashTest, FileWhereAFolderMustGo_IsKeptFirst) {
  for (const bool linkable : {true, false}) {
    run.info.bMoveFileTrash = false;
    keeper.answer = linkable ? VersionKeeper::Kept::kLinked : VersionKeeper::Kept::kNothing;
    const std::string name = linkable ? "kept" : "trashed";
    makeTree(tree / "t", {{name, File{"old"}}});
    const Place to = target(name);
    const auto made = copier.createMacintoshDirectory(to, RunFixture::standing(to));
    ASSERT_TRUE(made) << made.error().text();
    EXPECT_EQ(RunFixture::seen(to).mode, 0700u);
    EXPECT_EQ(realFileCalls().statusOf(made->folder.get())->identity, RunFixture::seen(to).identity);
  }
  ExpectTreeExactly(tree / "t", Dir{{"kept", Dir{}}, {"kept.kept", File{"old"}}, {"trashed", Dir{}}});
  EXPECT_EQ(trashed(), (Trashed{{"trashed", "old"}}));
  EXPECT_EQ(run.run.counts.revisions, 1u);
}

TEST_P(TrashTest, ExchangeThatCannotBeUndone_KeepsBothVersions) {
  makeTree(tree / "s", {{"a", File{"new"}}});
  makeTree(tree / "t", {{"a", File{"old"}}});
  forbid(FileCall::kLink, EPERM);
  files.fail(FileCall::kExchange, EIO, {.nth = 2});
  files.before(FileCall::kExchange, [&] { forbid(FileCall::kCreateFile, EROFS); });
  EXPECT_FALSE(copy("a"));
  const auto names = targetNames();
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(readFile(tree / "t/a"), "new");
  EXPECT_EQ(readFile(tree / ("t/" + names[1])), "old");
  EXPECT_FALSE(isTemporaryName(names[1]));
}

// A program saves by a rename of its own, after the last look at what is to be replaced.
TEST_P(TrashTest, FileSavedInTheLastMoment_StaysAndIsLookedAtByTheNextRun) {
  for (const bool toTrash : {false, true}) {
    for (const auto kept : {VersionKeeper::Kept::kNothing, VersionKeeper::Kept::kLinked}) {
      SCOPED_TRACE(std::to_string(toTrash) + (kept == VersionKeeper::Kept::kLinked ? " linked" : ""));
      makeTree(tree.path(), {{"s", Dir{{"a", File{"new", {}, 2000}}}}, {"t", Dir{{"a", File{"old"}}}}});
      files.forgetRules();
      forbidForeignTrash(files);
      run.info.bMoveFileTrash = toTrash;
      keeper.answer = kept;
      files.before(FileCall::kExchange, [&] {
        writeFile(tree / "saving", "just saved");
        std::filesystem::rename(tree / "saving", tree / "t/a");
      });
      EXPECT_EQ(codeOf(copy("a")), ESTALE);
      EXPECT_EQ(readFile(tree / "t/a"), "just saved");
      auto names = targetNames();
      std::erase(names, "a.kept");
      EXPECT_EQ(names, std::vector<std::string>{"a"});
      std::filesystem::remove(tree / "t/a.kept");
    }
  }
}

TEST_P(TrashTest, FileSavedOnceMoreWhileTheFirstIsPutBack_IsNotLostEither) {
  run.info.bMoveFileTrash = false;
  makeTree(tree.path(), {{"s", Dir{{"a", File{"new", {}, 2000}}}}, {"t", Dir{{"a", File{"old"}}}}});
  for (int nth = 1; nth <= 2; ++nth) {
    const auto save = [this, nth] {
      writeFile(tree / "saving", "saved " + std::to_string(nth));
      std::filesystem::rename(tree / "saving", tree / "t/a");
    };
    files.before(FileCall::kExchange, save, {.nth = nth});
  }
  ASSERT_FALSE(copy("a"));
  std::set<std::string> versions;
  for (const std::string& name : listing(tree / "t")) {
    versions.insert(readFile(tree / ("t/" + name)));
    EXPECT_FALSE(isTemporaryName(name));
  }
  EXPECT_EQ(versions, (std::set<std::string>{"saved 1", "saved 2"}));
}

// Every call that a copy over an earlier version makes fails once, one after the other.
TEST_P(TrashTest, AnyOneCallFails_OneWholeVersionStandsAndNoneIsLost) {
  const std::string before(20'000, 'o');
  const std::string after(70'000, 'n');
  for (const auto& missing : std::vector<std::vector<FileCall>>{{}, {FileCall::kLink}}) {
    int failures = 0;
    for (int nth = 1;; ++nth) {
      makeTree(tree.path(), {{"s", Dir{{"a", File{after, 0640, 2000, 5, {{"user.x", "1"}}}}}},
                             {"t", Dir{{"a", File{before, 0600, 1000}}}},
                             {"home", Dir{}}});
      FaultyFileCalls faulty;
      RunFixture own{GetParam(), faulty};
      own.info.bMoveFileTrash = true;
      NoRevisions none;
      Trash ownTrash(faulty, own.clock, tree / "t");
      FileCopier ownCopier(own.run, none, ownTrash);
      forbidForeignTrash(faulty);
      for (const FileCall call : missing) faulty.fail(call, EOPNOTSUPP, {.times = FaultyFileCalls::kAlways});
      faulty.fail(FileCall::kAny, EIO, {.nth = nth});
      const Place from = own.place(tree / "s/a");
      const Place to = own.place(tree / "t/a");
      const bool copied =
          ownCopier.copyMacintoshFile(from, RunFixture::seen(from), to, RunFixture::standing(to)).has_value();
      failures += copied ? 0 : 1;
      SCOPED_TRACE("call " + std::to_string(nth));
      const bool wasMade = static_cast<int>(faulty.made().size()) >= nth;
      const auto failed = wasMade ? faulty.made()[static_cast<std::size_t>(nth) - 1].call : FileCall::kAny;

      const std::string standing = readFile(tree / "t/a");
      EXPECT_TRUE(standing == after || standing == before);
      EXPECT_TRUE(copied ? standing == after : true);
      const auto kept = trashed();
      const bool isKept = std::any_of(kept.begin(), kept.end(), [&](const auto& one) { return one.second == before; });
      EXPECT_TRUE(standing == before || isKept);
      EXPECT_TRUE(failed == FileCall::kRemoveFile || targetNames() == std::vector<std::string>{"a"});
      ExpectTreeExactly(tree / "s", Dir{{"a", File{after, 0640, 2000, 5, {{"user.x", "1"}}}}});
      if (!wasMade) break;
    }
    EXPECT_GT(failures, 8);
  }
}

}  // namespace
}  // namespace lumisk::test
