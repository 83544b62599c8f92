#include "engine/restore.h"

#include <filesystem>

#include "platform/paths.h"
#include "support/faulty_file_calls.h"
#include "support/home_fixture.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

// Versions lie in "t/docs", the copy of "docs".
class RestoreTest : public HomeFixture {
 protected:
  Version version(const std::string& name, VersionKind kind = VersionKind::kCopy) {
    Version made;
    made.kind = kind;
    made.path = tree / ("t/docs" + name);
    made.place.job = "job";
    made.place.source = tree / "docs";
    made.place.original = tree / ("docs" + name);
    made.place.target = tree / "t";
    made.place.copy = made.path;
    const auto folder = realFileCalls().openRoot(paths::parent(made.path));
    const auto status = realFileCalls().status(folder->get(), paths::lastComponent(made.path));
    EXPECT_TRUE(status) << made.path;
    if (status) made.status = *status;
    return made;
  }
  Result<RestoreReport> restore(const std::string& name) {
    return restoreVersion(services(), version(name), tree / ("docs" + name), tree / "docs");
  }
  RestoreServices services() { return {files, clock, log, dialogs, nullptr}; }
  [[nodiscard]] std::vector<std::string> trashed() const {
    std::vector<std::string> texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
      if (entry.path().parent_path().filename() == "files" && entry.is_regular_file())
        texts.push_back(readFile(entry.path()));
    std::sort(texts.begin(), texts.end());
    return texts;
  }

  TempTree tree{{"docs", Dir{}}, {"t", Dir{{"docs", Dir{}}}}};
  FaultyFileCalls files;
  FakeClock clock;
  RecordingJobLog log;
  RecordingDialogs dialogs;

 private:
  void SetUp() override { unsetenv("XDG_DATA_HOME"); }
};

TEST_F(RestoreTest, RestoreVersion_NewerFileThere_IsInTheTrashAfterwards) {
  makeTree(tree / "t/docs", {{"a", File{"good", 0600, 1000, 7, {{"user.x", "y"}}}}});
  makeTree(tree / "docs", {{"a", File{"newer", 0644, 9000}}});
  const auto restored = restore("/a");
  ASSERT_TRUE(restored) << restored.error().text();
  EXPECT_TRUE(restored->wroteAnything);
  ExpectTreeExactly(tree / "docs", Dir{{"a", File{"good", 0600, 1000, 7, {{"user.x", "y"}}}}});
  EXPECT_THAT(trashed(), ::testing::ElementsAre("newer"));
  const auto again = restore("/a");
  ASSERT_TRUE(again);
  EXPECT_FALSE(again->wroteAnything);
}

TEST_F(RestoreTest, RestoreVersion_TrashThatTakesNothing_LeavesWhatIsThere) {
  makeTree(tree / "t/docs", {{"a", File{"good"}}});
  makeTree(tree / "docs", {{"a", File{"newer"}}});
  files.fail(FileCall::kAny, EACCES, {.name = "*.trashinfo", .times = FaultyFileCalls::kAlways});
  EXPECT_FALSE(restore("/a"));
  ExpectTreeExactly(tree / "docs", Dir{{"a", File{"newer"}}});
}

TEST_F(RestoreTest, RestoreVersion_DeletedFolders_ComeBackWithTheirOwnMetadata) {
  Dir deep{{"f", File{"f", 0640, 2000}}, {"l", Link{"f"}}};
  deep.mode = 0710;
  deep.modified = 3000;
  makeTree(tree / "t/docs", {{"d", Dir{{"deep", deep}}}});
  ASSERT_TRUE(restore("/d/deep/f"));
  Dir one{{"f", File{"f", 0640, 2000}}};
  one.mode = 0710;
  one.modified = 3000;
  ExpectTreeExactly(tree / "docs", Dir{{"d", Dir{{"deep", one}}}});
  std::filesystem::remove_all(tree / "docs");
  ASSERT_TRUE(restore(""));
  ExpectSameTrees(tree / "t/docs", tree / "docs");
}

TEST_F(RestoreTest, RestoreVersion_FolderThatStands_KeepsWhatTheVersionLacksAndTrashesWhatDiffers) {
  makeTree(tree / "t/docs", {{"same", File{"same", 0644, 1000}},
                             {"rotten", File{"right", 0644, 1000}},
                             {"was a file", File{"text"}},
                             {"was a folder", Dir{{"in it", File{"x"}}}}});
  makeTree(tree / "docs", {{"same", File{"same", 0644, 1000}},
                           {"rotten", File{"wrong", 0644, 1000}},
                           {"was a file", Dir{{"new in it", File{"n"}}}},
                           {"was a folder", File{"now a file"}},
                           {"mine", File{"mine"}}});
  ASSERT_TRUE(restore(""));
  EXPECT_THAT(trashed(), ::testing::ElementsAre("now a file", "wrong"));
  EXPECT_TRUE(exists(home / ".local/share/Trash/files/was a file/new in it"));
  makeTree(tree / "t/docs", {{"mine", File{"mine"}}});
  EXPECT_THAT(treeListing(tree / "docs"), ::testing::ContainerEq(treeListing(tree / "t/docs")));
  EXPECT_EQ(readFile(tree / "docs/rotten"), "right");
}

TEST_F(RestoreTest, RestoreVersion_WholeTarget_LeavesTheJobsOwnEntriesThere) {
  makeTree(tree / "t", {{"Revision", Dir{{"r", File{"r"}}}},
                        {"_XXXQelLumiskinfo_job", File{"mark"}},
                        {"docs", Dir{{"Revision", Dir{{"the user's", File{"u"}}}}}}});
  Version whole = version("");
  whole.path = whole.place.copy = tree / "t";
  ASSERT_TRUE(restoreVersion(services(), whole, tree / "docs", ""));
  EXPECT_THAT(treeListing(tree / "docs"),
              ::testing::ElementsAre("docs/", "docs/Revision/", "docs/Revision/the user's"));
}

TEST_F(RestoreTest, DiffersFrom_GoesByContentNotByDates) {
  makeTree(tree / "t/docs", {{"a", File{"text", 0644, 1000}}, {"d", Dir{{"f", File{"12345", 0644, 1000}}}}});
  makeTree(tree / "docs", {{"a", File{"text", 0600, 5000}}, {"d", Dir{{"f", File{"12345"}}, {"more", File{"m"}}}}});
  const auto differs = [&](const std::string& name) {
    const auto answer = differsFrom(services(), version(name), tree / ("docs" + name));
    EXPECT_TRUE(answer) << answer.error().text();
    return answer && *answer;
  };
  EXPECT_FALSE(differs("/a"));
  EXPECT_FALSE(differs("/d"));
  makeTree(tree / "docs/d", {{"f", File{"12x45", 0644, 1000}}});
  EXPECT_TRUE(differs("/d"));
  EXPECT_TRUE(differs("/d/f"));
  std::filesystem::remove_all(tree / "docs/d");
  EXPECT_TRUE(differs("/d/f"));
  EXPECT_FALSE(exists(tree / "docs/d"));
}

TEST_F(RestoreTest, RestoreVersion_MissingFolders_AreMadeOnlyBelowTheSource) {
  makeTree(tree / "t/docs", {{"a", File{"text"}}});
  EXPECT_FALSE(restoreVersion(services(), version("/a"), tree / "away/docs/a", tree / "away/docs"));
  EXPECT_FALSE(exists(tree / "away"));
}

TEST_F(RestoreTest, LockTargets_TakesEachOnceAndNamesTheOneThatARunHolds) {
  auto locks = lockTargets(realFileCalls(), {tree / "t", tree / "away", tree / "t"});
  ASSERT_TRUE(locks) << locks.error().text();
  const auto second = lockTargets(realFileCalls(), {tree / "t"});
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, EWOULDBLOCK);
  EXPECT_EQ(second.error().path, tree / "t");
  locks->clear();
  EXPECT_TRUE(lockTargets(realFileCalls(), {tree / "t"}));
}

}  // namespace
}  // namespace lumisk::test
