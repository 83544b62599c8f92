// Folders and files that cannot be read, that change while the walk is at them, and names that become one.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "engine/walk_fixture.h"
#include "support/folding_file_calls.h"

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

class WalkFaultsTest : public WalkFixture {};
INSTANTIATE_TEST_SUITE_P(Pace, WalkFaultsTest, kBothWalkPaces, walkPaceName);

TEST_P(WalkFaultsTest, SourceFolderThatCannotBeListed_IsAnErrorAndNotEmpty) {
  for (const FileCall call : {FileCall::kOpenFolder, FileCall::kListFolder, FileCall::kListAttributes}) {
    makeTree(tree / "s", {{"d", Dir{{"x", File{"x"}}}}, {"e", Dir{{"y", File{"y"}}}}});
    makeTree(tree / "t", {{"s", Dir{}}});
    files.forgetRules();
    files.fail(call, EACCES, {.name = "d", .times = FaultyFileCalls::kAlways});
    const Ran ran = backUp();
    EXPECT_TRUE(ran.walked);
    EXPECT_EQ(ran.counts.errors, 1u);
    EXPECT_EQ(ran.code, RunError::kFileCopy);
    EXPECT_EQ(ran.outcomes.at("s/d"), EntryOutcome::kFailed);
    EXPECT_TRUE(ran.log.starts_with("job: ERROR: Failed to get the attributes of \"" + (tree / "s/d") + "\"\n"));
    ExpectTreeExactly(tree / "t/s", {{"e", Dir{{"y", File{"y"}}}}});
  }
}

TEST_P(WalkFaultsTest, DestinationFolderThatCannotBeListed_IsNotWrittenTo) {
  makeTree(tree / "s", {{"d", Dir{{"x", File{"new", 0644, 2000}}, {"y", File{"y"}}}}});
  makeTree(tree / "t", {{"s", Dir{{"d", Dir{{"x", File{"old", 0644, 1000}}}}}}});
  files.fail(FileCall::kListFolder, EIO, {.name = "d", .nth = 2, .times = FaultyFileCalls::kAlways});
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 1u);
  ExpectTreeExactly(tree / "t/s", {{"d", Dir{{"x", File{"old", 0644, 1000}}}}});
}

TEST_P(WalkFaultsTest, StatusThatCannotBeRead_IsNeitherAbsenceNorDeletion) {
  makeTree(tree / "s", {{"a", File{"new", 0644, 2000}}, {"b", File{"new", 0644, 2000}}, {"l", Link{"new"}}});
  makeTree(tree / "t",
           {{"s", Dir{{"a", File{"old", 0644, 1000}}, {"b", File{"old", 0644, 1000}}, {"l", Link{"old"}}}}});
  files.fail(FileCall::kStatus, EIO, {.name = "a"});
  files.fail(FileCall::kStatus, EACCES, {.name = "[bl]", .nth = 2});
  files.fail(FileCall::kStatus, EACCES, {.name = "l", .nth = 2});
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 3u) << ran.log;
  ExpectTreeExactly(tree / "t/s", {{"a", File{"old"}}, {"b", File{"old"}}, {"l", Link{"old"}}});
}

TEST_P(WalkFaultsTest, FolderThatCannotBeMade_IsPassedBy) {
  makeTree(tree / "s", {{"a", Dir{{"x", File{"x"}}}}, {"b", Dir{{"y", File{"y"}}}}});
  files.fail(FileCall::kMakeFolder, EROFS, {.name = "a"});
  std::vector<std::string> told;
  const Ran ran = backUp([&](RunFixture& fixture) {
    fixture.run.onFolderNotMade = [&](const std::string& path) { told.push_back(path); };
  });
  EXPECT_EQ(told, std::vector<std::string>{tree / "t/s/a"});
  EXPECT_TRUE(ran.walked);
  EXPECT_EQ(ran.code, RunError::kDirectoryCreation);
  EXPECT_EQ(ran.counts.errors, 1u);
  EXPECT_TRUE(ran.log.starts_with("job: ERROR: Failed to create the directory \"" + (tree / "t/s/a") + "\"\n"));
  ExpectTreeExactly(tree / "t/s", {{"b", Dir{{"y", File{"y"}}}}});
}

TEST_P(WalkFaultsTest, FileThatCannotBeCopied_IsLoggedAndPassedBy) {
  makeTree(tree / "s", {{"a", File{"a"}}, {"b", File{"b"}}, {"l", Link{"x"}}});
  files.fail(FileCall::kRead, EIO, {.name = "a"});
  files.fail(FileCall::kOpenFile, EIO, {.name = "a"});
  files.fail(FileCall::kMakeLink, EIO);
  const Ran ran = backUp();
  EXPECT_TRUE(ran.log.starts_with("job: ERROR: Failed to copy this file as follow.\nsource:" + (tree / "s/a") +
                                  "\ndestination:" + (tree / "t/s/a") + "\n"))
      << ran.log;
  EXPECT_EQ(ran.counts.errors, 2u);
  EXPECT_EQ(ran.code, RunError::kSymbolicLink);
  ExpectTreeExactly(tree / "t/s", {{"b", File{"b"}}});
}

TEST_P(WalkFaultsTest, EntryThatVanished_IsNoErrorButOneThatIsStillListedIs) {
  makeTree(tree / "s", {{"a", File{"a"}}, {"b", File{"b"}}, {"c", Dir{}}, {"z", File{"z"}}});
  files.before(FileCall::kStatus, [&] { fs::remove(tree / "s/a"); }, {.name = "a"});
  files.before(FileCall::kOpenFile, [&] { fs::remove(tree / "s/b"); }, {.name = "b"});
  files.before(FileCall::kOpenFolder, [&] { fs::remove(tree / "s/c"); }, {.name = "c"});
  Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  EXPECT_EQ(ran.counts.skipped, 3u);
  ExpectTreeExactly(tree / "t/s", {{"z", File{"z"}}});
  files.fail(FileCall::kStatus, ENOENT, {.name = "z"});
  ran = backUp();
  EXPECT_EQ(ran.counts.errors, 1u);
}

// Swapped after it was listed, before it is opened.
TEST_P(WalkFaultsTest, FolderSwappedForALink_LeadsNowhere) {
  makeTree(tree / "s", {{"d", Dir{{"x", File{"x"}}}}});
  makeTree(tree.path(), {{"outside", Dir{{"secret", File{"secret"}}}}});
  const auto swap = [&](const std::string& folder) {
    fs::rename(folder, folder + ".old");
    fs::create_symlink(tree / "outside", folder);
  };
  files.before(FileCall::kOpenFolder, [&] { swap(tree / "s/d"); }, {.name = "d"});
  Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 1u);
  EXPECT_FALSE(exists(tree / "t/s/d"));

  fs::remove(tree / "s/d");
  fs::rename(tree / "s/d.old", tree / "s/d");
  makeTree(tree / "t/s", {{"d", Dir{}}});
  files.before(FileCall::kOpenFolder, [&] { swap(tree / "t/s/d"); }, {.name = "d", .nth = 2});
  ran = backUp();
  EXPECT_EQ(ran.counts.errors, 1u);
  ExpectTreeExactly(tree / "outside", {{"secret", File{"secret"}}});
}

TEST_P(WalkFaultsTest, FolderMovedMeanwhile_LosesOnlyWhatCannotBeReached) {
  constexpr int kDepth = 50;
  const auto level = [&](int depth) {
    std::string path = tree / "s";
    for (int i = 1; i <= depth; ++i) path += "/d";
    return path;
  };
  fs::create_directories(level(kDepth));
  for (int i = 0; i <= kDepth; ++i) writeFile(level(i) + "/z", std::to_string(i));
  const auto moveTwice = [&] {
    fs::rename(level(5), tree / "five");
    fs::rename(level(3), tree / "three");
  };
  files.before(FileCall::kStatus, moveTwice, {.name = "z"});  // the deepest one
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 2u) << ran.log;  // levels 3 and 4 can be reached from neither side
  EXPECT_EQ(ran.counts.copied, kDepth + 1u - 2u);
  EXPECT_TRUE(exists(tree / "t/s/d/d/z"));
  EXPECT_FALSE(exists(tree / "t/s/d/d/d/z"));
  EXPECT_TRUE(exists(tree / "t/s/d/d/d/d/d/z"));
}

// Names that become one.

class WalkFoldingTest : public WalkFaultsTest {
 protected:
  WalkFoldingTest() { calls = &folding; }
  // The source is not on the folding file system, so it is made with names that never are asked for wrongly.
  FoldingFileCalls folding{files};
};
INSTANTIATE_TEST_SUITE_P(Pace, WalkFoldingTest, kBothWalkPaces, walkPaceName);

TEST_P(WalkFoldingTest, TwoNamesThatBecomeOne_SecondIsAnErrorAndTheFirstStays) {
  makeTree(tree / "s", {{"d", Dir{{"NAME", File{"first", 0644, 1000}}, {"name", File{"second", 0644, 2000}}}},
                        {"E", Dir{{"x", File{"x"}}}},
                        {"e", Dir{{"y", File{"y"}}}},
                        {"L", Link{"first"}},
                        {"l", Link{"second"}}});
  for (int run = 0; run < 2; ++run) {
    const Ran ran = backUp();
    EXPECT_EQ(ran.counts.errors, 3u) << ran.log;
    EXPECT_EQ(ran.outcomes.at("s/d/name"), EntryOutcome::kFailed);
    EXPECT_NE(ran.log.find("job: ERROR: \"" + (tree / "s/d/name") +
                           "\" is not copied: the target cannot tell its name from \"NAME\"\n"),
              std::string::npos);
    ExpectTreeExactly(tree / "t/s",
                      {{"d", Dir{{"NAME", File{"first"}}}}, {"E", Dir{{"x", File{"x"}}}}, {"L", Link{"first"}}});
  }
}

TEST_P(WalkFoldingTest, NameThatWasSpelledOtherwise_IsTheSameEntry) {
  makeTree(tree / "s", {{"same", File{"same", 0644, 1000}},
                        {"newer", File{"new", 0644, 2000}},
                        {"d", Dir{{"x", File{"x"}}}},
                        {"Two", File{"first", 0644, 2000}},
                        {"two", File{"second", 0644, 3000}}});
  makeTree(tree / "t", {{"s", Dir{{"SAME", File{"same", 0644, 1000}},
                                  {"NEWER", File{"old", 0644, 1000}},
                                  {"D", Dir{}},
                                  {"TWO", File{"old", 0644, 1000}}}}});
  const Ran ran = backUp([](RunFixture& fixture) { fixture.info.nAutoDeletion = 1; });
  EXPECT_EQ(ran.counts.errors, 1u) << ran.log;
  EXPECT_EQ(ran.outcomes.at("s/same"), EntryOutcome::kUnchanged);
  EXPECT_EQ(ran.outcomes.at("s/two"), EntryOutcome::kFailed);
  ExpectTreeExactly(
      tree / "t/s",
      {{"SAME", File{"same"}}, {"NEWER", File{"new"}}, {"D", Dir{{"x", File{"x"}}}}, {"TWO", File{"first"}}});
  // What another name has there is not recorded for this one.
  EXPECT_EQ(
      std::count(ran.recorded.begin(), ran.recorded.end(), std::pair<std::string, std::string>("s/two", "t/s/two")), 0);
  EXPECT_EQ(
      std::count(ran.recorded.begin(), ran.recorded.end(), std::pair<std::string, std::string>("s/Two", "t/s/TWO")), 1);
}

TEST_P(WalkFaultsTest, FileThatSomebodyMakesMeanwhile_IsDecidedAbout) {
  makeTree(tree / "s", {{"a", File{"source", 0644, 1000}}, {"b", File{"source", 0644, 3000}}});
  const auto makeBoth = [&] {
    makeTree(tree / "t/s", {{"a", File{"theirs", 0644, 2000}}, {"b", File{"theirs", 0644, 2000}}});
  };
  files.before(FileCall::kCreateFile, makeBoth);
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  ExpectTreeExactly(tree / "t/s", {{"a", File{"theirs"}}, {"b", File{"source"}}});
}

}  // namespace
}  // namespace lumisk::test
