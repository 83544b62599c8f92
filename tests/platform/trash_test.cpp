#include "platform/trash.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/paths.h"
#include "support/fake_clock.h"
#include "support/faulty_file_calls.h"
#include "support/home_fixture.h"
#include "support/mounted_volume.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

class TrashTest : public ::testing::Test {
 protected:
  Result<TrashedItem> moveToTrash(const std::string& path) {
    const auto folder = files_.openRoot(paths::parent(path));
    return trash_.moveToTrash(folder->get(), paths::lastComponent(path), path);
  }
  Result<TrashedItem> linkToTrash(const std::string& path) {
    const auto folder = files_.openRoot(paths::parent(path));
    return trash_.linkToTrash(folder->get(), paths::lastComponent(path), path);
  }
  std::string infoOf(const TrashedItem& item) {
    return readFile(paths::parent(paths::parent(item.path)) + "/info/" + paths::lastComponent(item.path) +
                    ".trashinfo");
  }

  TempTree tree_{{"home", Dir{}}, {"work", Dir{}}};
  const ScopedVariable home_{"LUMISK_HOME", tree_ / "home"}, zone_{"TZ", "UTC"};
  const std::string homeTrash_ = tree_ / "home/.local/share/Trash";
  FaultyFileCalls files_;
  FakeClock clock_;
  Trash trash_{files_, clock_, tree_ / "work"};
};

TEST_F(TrashTest, MoveToTrash_OnTheHomeVolume_GoesToTheHomeTrashWithItsRecord) {
  const std::string name = "50% \xff\n\xc3\xa9.txt";
  makeTree(tree_ / "work",
           {{name, File{"text", 0640, 1000}}, {"d", Dir{{"f", File{"inner"}}}}, {"l", Link{"nowhere"}}});
  const auto file = moveToTrash(tree_ / "work/" + name);
  ASSERT_TRUE(file) << file.error().text();
  EXPECT_EQ(file->path, homeTrash_ + "/files/" + name);
  EXPECT_EQ(infoOf(*file), "[Trash Info]\nPath=" + tree_.path() + "/work/50%25%20%FF%0A%C3%A9.txt\n" +
                               "DeletionDate=2009-03-03T13:30:05\n");
  ASSERT_TRUE(moveToTrash(tree_ / "work/d"));
  ASSERT_TRUE(moveToTrash(tree_ / "work/l"));
  ExpectTreeExactly(tree_ / "work", Dir{});
  ExpectTreeExactly(homeTrash_ + "/files",
                    Dir{{name, File{"text", 0640, 1000}}, {"d", Dir{{"f", File{"inner"}}}}, {"l", Link{"nowhere"}}});
  struct stat status;
  ASSERT_EQ(::stat(homeTrash_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(TrashTest, MoveToTrash_ManyOfOneName_KeepsAllWithoutSearching) {
  constexpr int kItems = 300;
  for (int i = 0; i < kItems; ++i) {
    writeFile(tree_ / "work/a.txt", std::to_string(i));
    const auto item = moveToTrash(tree_ / "work/a.txt");
    ASSERT_TRUE(item);
    ASSERT_EQ(readFile(item->path), std::to_string(i));
    EXPECT_EQ(paths::extension(item->path), "txt");
  }
  EXPECT_EQ(listing(homeTrash_ + "/files").size(), static_cast<std::size_t>(kItems));
  EXPECT_EQ(listing(homeTrash_ + "/info").size(), static_cast<std::size_t>(kItems));
  EXPECT_LE(files_.count(FileCall::kCreateFile), 2 * kItems);
}

TEST_F(TrashTest, MoveToTrash_LongestNames_AreShortenedAndRecordedWhole) {
  std::string umlauts = "x";
  while (umlauts.size() < 255) umlauts += "\xc3\xa9";
  for (const std::string& name : {std::string(255, 'n'), std::string(251, '\xff') + ".txt", umlauts}) {
    writeFile(tree_ / "work/" + name, name);
    const auto item = moveToTrash(tree_ / "work/" + name);
    ASSERT_TRUE(item) << item.error().text();
    EXPECT_EQ(readFile(item->path), name);
    EXPECT_GT(infoOf(*item).size(), 255U);
  }
}

TEST_F(TrashTest, MoveToTrash_NameTakenByAnItemWithoutRecord_ReplacesNothing) {
  makeTree(tree_.path(),
           {{"home", Dir{{".local", Dir{{"share", Dir{{"Trash", Dir{{"files", Dir{{"a", File{"old"}}}}}}}}}}}},
            {"work", Dir{{"a", File{"new"}}}}});
  const auto item = moveToTrash(tree_ / "work/a");
  ASSERT_TRUE(item);
  EXPECT_EQ(readFile(item->path), "new");
  EXPECT_EQ(readFile(homeTrash_ + "/files/a"), "old");
  EXPECT_EQ(listing(homeTrash_ + "/info").size(), 1U);
}

TEST_F(TrashTest, MoveToTrash_WhenItFails_LeavesTheEntryAndNoRecord) {
  writeFile(tree_ / "work/a", "text");
  for (const auto call : {FileCall::kRename, FileCall::kWrite, FileCall::kClose}) {
    files_.fail(call, EIO, {.times = FaultyFileCalls::kAlways});
    EXPECT_EQ(codeOf(moveToTrash(tree_ / "work/a")), EIO);
    files_.forgetRules();
    EXPECT_EQ(readFile(tree_ / "work/a"), "text");
    EXPECT_TRUE(listing(homeTrash_ + "/files").empty());
    EXPECT_TRUE(listing(homeTrash_ + "/info").empty());
  }
}

TEST_F(TrashTest, MoveToTrash_OfNothing_MakesNoTrashFolder) {
  EXPECT_EQ(moveToTrash(tree_ / "work/missing").error().code, ENOENT);
  ExpectTreeExactly(tree_.path(), Dir{{"home", Dir{}}, {"work", Dir{}}});
}

TEST_F(TrashTest, MoveToTrash_WritesTheRecordBeforeItMoves) {
  writeFile(tree_ / "work/a", "text");
  files_.before(FileCall::kRename,
                [&] { EXPECT_THAT(readFile(homeTrash_ + "/info/a.trashinfo"), ::testing::EndsWith("\n")); });
  ASSERT_TRUE(moveToTrash(tree_ / "work/a"));
  EXPECT_EQ(files_.count(FileCall::kRename), 1);
}

TEST_F(TrashTest, LinkToTrash_OfAFile_GivesItASecondName) {
  writeFile(tree_ / "work/a", "text");
  const auto item = linkToTrash(tree_ / "work/a");
  ASSERT_TRUE(item);
  struct stat here, there;
  ASSERT_EQ(::stat((tree_ / "work/a").c_str(), &here), 0);
  ASSERT_EQ(::stat(item->path.c_str(), &there), 0);
  EXPECT_EQ(here.st_ino, there.st_ino);
  EXPECT_THAT(infoOf(*item), ::testing::HasSubstr("/work/a\n"));
}

TEST_F(TrashTest, LinkToTrash_WhereThereAreNoLinks_LeavesNothingBehind) {
  makeTree(tree_ / "work", {{"a", File{"text"}}, {"d", Dir{}}});
  EXPECT_EQ(linkToTrash(tree_ / "work/d").error().code, EOPNOTSUPP);
  files_.fail(FileCall::kLink, EPERM);
  EXPECT_EQ(linkToTrash(tree_ / "work/a").error().code, EOPNOTSUPP);
  EXPECT_TRUE(listing(homeTrash_ + "/info").empty());
  EXPECT_TRUE(listing(homeTrash_ + "/files").empty());
  ExpectTreeExactly(tree_ / "work", Dir{{"a", File{"text"}}, {"d", Dir{}}});
}

class TrashOnVolume : public TrashTest {
 protected:
  void SetUp() override {
    if (!volume_.isMounted()) GTEST_SKIP() << volume_.problem();
    makeTree(volume_.path(), {{"target", Dir{{"a b", File{"text"}}}}});
  }
  const std::string own_ = ".Trash-" + std::to_string(::geteuid());
  MountedVolume volume_{"tmpfs", 4};
  Trash trashOfTarget_{files_, clock_, volume_ / "target"};

  Result<TrashedItem> moveFromTarget(const std::string& path) {
    const auto folder = files_.openRoot(paths::parent(path));
    return trashOfTarget_.moveToTrash(folder->get(), paths::lastComponent(path), path);
  }
};

TEST_F(TrashOnVolume, MoveToTrash_FromAnotherVolume_StaysOnItWithARelativeRecord) {
  const auto item = moveToTrash(volume_ / "target/a b");
  ASSERT_TRUE(item) << item.error().text();
  EXPECT_EQ(item->path, volume_ / own_ + "/files/a b");
  EXPECT_THAT(infoOf(*item), ::testing::HasSubstr("\nPath=target/a%20b\n"));
  EXPECT_FALSE(exists(homeTrash_));
}

TEST_F(TrashOnVolume, MoveToTrash_ThroughALink_RecordsThePathBelowTheTop) {
  makeTree(tree_.path(), {{"short", Link{volume_ / "target"}}});
  const auto item = moveToTrash(tree_ / "short/a b");
  ASSERT_TRUE(item);
  EXPECT_THAT(infoOf(*item), ::testing::HasSubstr("\nPath=target/a%20b\n"));
}

TEST_F(TrashOnVolume, MoveToTrash_SharedTrashFolder_IsUsedOnlyWhenSticky) {
  makeTree(volume_.path(), {{".Trash", Dir{}}, {"b", File{""}}});
  ASSERT_EQ(::chmod((volume_ / ".Trash").c_str(), 0777), 0);
  EXPECT_EQ(moveToTrash(volume_ / "b")->path, volume_ / own_ + "/files/b");
  ASSERT_EQ(::chmod((volume_ / ".Trash").c_str(), 01777), 0);
  Trash later(files_, clock_, "");
  const auto folder = files_.openRoot(volume_ / "target");
  const auto item = later.moveToTrash(folder->get(), "a b", volume_ / "target/a b");
  ASSERT_TRUE(item);
  EXPECT_EQ(item->path, volume_ / ".Trash/" + std::to_string(::geteuid()) + "/files/a b");
}

TEST_F(TrashOnVolume, MoveToTrash_WhereTheVolumeTakesNone_UsesTheTargetsOwn) {
  // Somebody else's folder under our name, and a link under the shared one's.
  makeTree(volume_.path(), {{".Trash", Link{tree_ / "work"}}, {own_, Dir{}}});
  ASSERT_EQ(::chown((volume_ / own_).c_str(), 12, 12), 0);
  const auto item = moveFromTarget(volume_ / "target/a b");
  ASSERT_TRUE(item) << item.error().text();
  EXPECT_EQ(item->path, volume_ / "target/Revision/.Trash/files/a b");
  EXPECT_THAT(infoOf(*item), ::testing::HasSubstr("\nPath=" + volume_.path() + "/target/a%20b\n"));
  ExpectTreeExactly(tree_ / "work", Dir{});
}

TEST_F(TrashOnVolume, MoveToTrash_WhereNothingServes_FailsAndLeavesTheEntry) {
  makeTree(volume_.path(), {{own_, File{""}}});
  makeTree(volume_ / "target", {{"Revision", Link{tree_ / "work"}}});
  EXPECT_FALSE(moveFromTarget(volume_ / "target/a b"));
  EXPECT_FALSE(moveToTrash(volume_ / "target/a b"));
  EXPECT_EQ(readFile(volume_ / "target/a b"), "text");
  ExpectTreeExactly(tree_ / "work", Dir{});
}

TEST_F(TrashOnVolume, MoveToTrash_FromABindMountOfTheHomeVolume_FindsTheMountsOwnTrash) {
  makeTree(tree_ / "work", {{"shown", Dir{{"f", File{"text"}}}}});
  const std::string mount = tree_ / "mount";
  makeTree(tree_.path(), {{"mount", Dir{}}});
  ASSERT_EQ(::mount((tree_ / "work/shown").c_str(), mount.c_str(), nullptr, MS_BIND, nullptr), 0);
  const auto item = moveToTrash(mount + "/f");
  const bool moved = item && item->path == mount + "/" + own_ + "/files/f" && readFile(item->path) == "text";
  ASSERT_EQ(::umount2(mount.c_str(), MNT_DETACH), 0);
  EXPECT_TRUE(moved);
  EXPECT_TRUE(listing(homeTrash_ + "/info").empty());
}

TEST_F(TrashTest, MoveToTrash_FromABtrfsSubvolume_StaysInIt) {
  const MountedVolume volume("btrfs", 128);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  ASSERT_TRUE(runQuietly("btrfs subvolume create '" + volume / "sub" + "'"));
  writeFile(volume / "sub/f", "text");
  const auto item = moveToTrash(volume / "sub/f");
  ASSERT_TRUE(item) << item.error().text();
  EXPECT_EQ(item->path, volume / "sub/.Trash-0/files/f");
}

TEST(TrashName, FoldersOfTheTrash_AreKnown) {
  for (const char* name : {".Trash", ".Trash-0", ".Trash-1000", ".Trashes", "lost+found"})
    EXPECT_TRUE(Trash::isTrashName(name)) << name;
  for (const char* name : {".Trash-", ".Trash-a", ".Trash-1x", "Trash", ".trash", ".Trash2", "lost+found2", ""})
    EXPECT_FALSE(Trash::isTrashName(name)) << name;
}

}  // namespace
}  // namespace lumisk::test
