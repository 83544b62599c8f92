#include "engine/entry_removal.h"

#include <sys/resource.h>

#include <cerrno>
#include <filesystem>

#include "support/faulty_file_calls.h"
#include "support/mounted_volume.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

const std::function<bool()> kNeverStop = [] { return false; };

Result<void> removeIn(FileCalls& files, const std::string& folder, const std::string& name,
                      const std::function<bool()>& mustStop = kNeverStop) {
  const auto opened = realFileCalls().openRoot(folder);
  return removeTree(files, opened->get(), name, mustStop);
}

TEST(RemoveTree, AllKindsOfEntries_GoAndLinksLeadNowhere) {
  const TempTree tree{{"keep", Dir{{"f", File{"kept"}}}},
                      {"d", Dir{{"f", File{"x"}},
                                {"toFolder", Link{"../keep"}},
                                {"pipe", Fifo{}},
                                {"a", Dir{{"b", Dir{{"c", File{"x"}}}}, {"e", Dir{}}}},
                                {"readOnly", Dir{{"x", File{"x", 0400}}}}}}};
  std::filesystem::permissions(tree / "d/readOnly", std::filesystem::perms{0500});
  ASSERT_TRUE(removeIn(realFileCalls(), tree.path(), "d"));
  ExpectTreeExactly(tree.path(), {{"keep", Dir{{"f", File{"kept"}}}}});
}

TEST(RemoveTree, TreeDeeperThanDescriptorsAndPaths_Goes) {
  const TempTree tree;
  FileCalls& files = realFileCalls();
  auto at = files.openRoot(tree.path());
  const std::string name(200, 'd');
  for (int depth = 0; depth < 150; ++depth) {
    ASSERT_TRUE(files.makeFolder(at->get(), name, 0700));
    at = files.openFolder(at->get(), name);
    ASSERT_TRUE(at);
  }
  at->reset();
  rlimit usual{};
  getrlimit(RLIMIT_NOFILE, &usual);
  const rlimit few{100, usual.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  const auto removed = removeIn(files, tree.path(), name);
  setrlimit(RLIMIT_NOFILE, &usual);
  ASSERT_TRUE(removed);
  EXPECT_TRUE(listing(tree.path()).empty());
}

TEST(RemoveTree, FolderThatCannotBeListed_StaysWithWhatItHolds) {
  const TempTree tree{{"d", Dir{{"a", Dir{{"f", File{"x"}}}}}}};
  FaultyFileCalls files;
  files.fail(FileCall::kListFolder, EIO, {.name = "a"});
  EXPECT_EQ(removeIn(files, tree.path(), "d").error().code, EIO);
  ExpectTreeExactly(tree.path(), {{"d", Dir{{"a", Dir{{"f", File{"x"}}}}}}});
}

TEST(RemoveTree, FolderMovedAwayMeanwhile_TakesNothingElseAlong) {
  const TempTree tree{{"d", Dir{{"a", Dir{{"f", File{"x"}}}}}}, {"other", Dir{{"a", Dir{{"g", File{"kept"}}}}}}};
  FaultyFileCalls files;
  files.before(FileCall::kRemoveFile, [&] {
    std::filesystem::rename(tree / "other/a", tree / "other/b");
    std::filesystem::rename(tree / "d/a", tree / "other/a");
  });
  EXPECT_EQ(removeIn(files, tree.path(), "d").error().code, ESTALE);
  EXPECT_EQ(readFile(tree / "other/b/g"), "kept");
  EXPECT_TRUE(exists(tree / "other/a"));
}

TEST(RemoveTree, Stop_IsObeyed) {
  const TempTree tree{{"d", Dir{{"f", File{"x"}}}}};
  EXPECT_EQ(removeIn(realFileCalls(), tree.path(), "d", [] { return true; }).error().code, ECANCELED);
  EXPECT_TRUE(exists(tree / "d/f"));
}

TEST(RemoveTree, MountedVolumeInside_IsNotEntered) {
  const MountedVolume volume("tmpfs", 1);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  writeFile(volume / "f", "kept");
  const std::string folder = paths::parent(volume.path());
  EXPECT_EQ(removeIn(realFileCalls(), paths::parent(folder), paths::lastComponent(folder)).error().code, EBUSY);
  EXPECT_EQ(readFile(volume / "f"), "kept");
}

TEST(DiscardEntry, EntryChangedSinceTheDecision_Stays) {
  const TempTree tree{{"f", File{"old"}}};
  RunFixture fixture;
  Trash trash(fixture.files, fixture.clock, tree.path());
  const Place place = fixture.place(tree / "f");
  const FileStatus decided = RunFixture::seen(place);
  writeFile(tree / "f", "longer");
  EXPECT_EQ(discardEntry(fixture.run, trash, place, decided).error().code, ESTALE);
  EXPECT_EQ(readFile(tree / "f"), "longer");
}

TEST(DiscardEntry, ReadOnlyFolder_LosesTheEntryAndStaysReadOnly) {
  const TempTree tree{{"d", Dir{{"f", File{"x"}}}}};
  std::filesystem::permissions(tree / "d", std::filesystem::perms{0555});
  FaultyFileCalls files;
  files.fail(FileCall::kRemoveFile, EACCES);  // as for a user who is not root
  RunFixture fixture(PaceKind::kFull, files);
  Trash trash(files, fixture.clock, tree.path());
  const Place place = fixture.place(tree / "d/f");
  EXPECT_TRUE(discardEntry(fixture.run, trash, place, RunFixture::seen(place)));
  EXPECT_TRUE(listing(tree / "d").empty());
  EXPECT_EQ(std::filesystem::status(tree / "d").permissions(), std::filesystem::perms{0555});
}

}  // namespace
}  // namespace lumisk::test
