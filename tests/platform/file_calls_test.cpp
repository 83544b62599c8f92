#include "platform/file_calls.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/disk_answers.h"
#include "platform/real_file_calls.h"
#include "support/faulty_file_calls.h"
#include "support/mounted_volume.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

std::string readAll(FileCalls& files, int file) {
  std::string text(64, '\0');
  const auto size = files.read(file, std::as_writable_bytes(std::span(text)));
  text.resize(size.value_or(0));
  return text;
}

// What every implementation of FileCalls keeps to.
class FileCallsConformance : public ::testing::TestWithParam<const char*> {
 protected:
  FileCalls& files() { return std::string(GetParam()) == "real" ? realFileCalls() : faulty_; }
  Descriptor open(const TempTree& tree) { return std::move(*files().openRoot(tree.path())); }

 private:
  FaultyFileCalls faulty_;
};

INSTANTIATE_TEST_SUITE_P(, FileCallsConformance, ::testing::Values("real", "faulty"),
                         [](const auto& given) { return std::string(given.param); });

TEST_P(FileCallsConformance, Link_InTheGivenName_IsNeverFollowed) {
  const TempTree tree{{"d", Dir{{"f", File{"x"}}}}, {"toFolder", Link{"d"}}, {"toFile", Link{"d/f"}}};
  const auto root = open(tree);
  EXPECT_EQ(codeOf(files().openFolder(root.get(), "toFolder")), ENOTDIR);
  EXPECT_EQ(codeOf(files().openFile(root.get(), "toFile")), ELOOP);
  EXPECT_EQ(codeOf(files().openFileForWriting(root.get(), "toFile")), ELOOP);
  EXPECT_EQ(codeOf(files().createFile(root.get(), "toFile", 0600)), EEXIST);
  EXPECT_EQ(files().status(root.get(), "toFolder")->type, FileType::kLink);
  EXPECT_EQ(codeOf(files().removeFolder(root.get(), "toFolder")), ENOTDIR);
  ASSERT_TRUE(files().link(root.get(), "toFile", root.get(), "second"));
  EXPECT_EQ(files().readLink(root.get(), "second"), "d/f");
  ASSERT_TRUE(files().removeFile(root.get(), "toFile"));
  EXPECT_EQ(readFile(tree / "d/f"), "x");
}

TEST(DiskAnswers, DiskThatHasGone_IsNoticedWhateverItsFoldersShow) {
  const MountedVolume volume("ext4", 16);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  makeTree(volume.path(), {{"d", Dir{{"link", Link{"nowhere"}}, {"pipe", Fifo{}}, {"empty", File{}}}}});
  const auto folder = realFileCalls().openRoot(volume / "d");
  EXPECT_TRUE(askDiskOf(folder->get()));
  EXPECT_EQ(codeOf(checkByReadingAFile(folder->get())), ENODATA);
  writeFile(volume / "file", std::string(5000, 'x'));
  ASSERT_TRUE(runQuietly("sync -f '" + volume.path() + "'"));
  EXPECT_TRUE(checkByReadingAFile(folder->get()));
  ASSERT_TRUE(runQuietly(": > \"$(losetup -nO BACK-FILE $(findmnt -nro SOURCE '" + volume.path() + "'))\""));
  EXPECT_NE(codeOf(askDiskOf(folder->get())), 0);
  EXPECT_NE(codeOf(checkByReadingAFile(folder->get())), 0);
  const TempTree tree;
  EXPECT_TRUE(askDiskOf(realFileCalls().openRoot(tree.path())->get()));
}

TEST_P(FileCallsConformance, Name_ThatIsNoEntryOfTheFolder_IsRefused) {
  const TempTree tree{{"d", Dir{{"f", File{"x"}}}}, {"f", File{"y"}}};
  const auto root = open(tree);
  for (const std::string& name : {std::string("d/f"), std::string(".."), std::string(), std::string("f\0g", 3)}) {
    EXPECT_EQ(codeOf(files().status(root.get(), name)), EINVAL) << name;
    EXPECT_EQ(codeOf(files().openFile(root.get(), name)), EINVAL) << name;
    EXPECT_EQ(codeOf(files().removeFile(root.get(), name)), EINVAL) << name;
    EXPECT_EQ(codeOf(files().rename(root.get(), "f", root.get(), name, Replace::kAllowed)), EINVAL) << name;
    EXPECT_EQ(codeOf(files().link(root.get(), name, root.get(), "new")), EINVAL) << name;
  }
  EXPECT_EQ(treeListing(tree.path()), (std::vector<std::string>{"d/", "d/f", "f"}));
}

TEST_P(FileCallsConformance, OpenRoot_PathLongerThanOneCallTakes_Opens) {
  const TempTree tree;
  auto at = open(tree);
  const std::string name(200, 'n');
  std::string path = tree.path();
  for (int depth = 0; depth < 30; ++depth) {
    ASSERT_TRUE(files().makeFolder(at.get(), name, 0700));
    at = std::move(*files().openFolder(at.get(), name));
    path += "/" + name;
  }
  const auto opened = files().openRoot(path);
  ASSERT_TRUE(opened) << opened.error().text();
  EXPECT_EQ(files().statusOf(opened->get())->identity, files().statusOf(at.get())->identity);
  EXPECT_EQ(codeOf(files().openRoot(path + "/missing")), ENOENT);
}

TEST_P(FileCallsConformance, ListFolder_ManyEntriesOfAllKinds_GivesEachOnceEveryTime) {
  const TempTree tree{{"d", Dir{}}, {"fifo", Fifo{}}, {"link", Link{"d"}}, {"\xff\n", File{""}}};
  const auto root = open(tree);
  const std::string padding(200, 'x');
  for (int i = 0; i < 1500; ++i) ASSERT_TRUE(files().createFile(root.get(), std::to_string(i) + padding, 0600));
  for (int round = 0; round < 2; ++round) {
    std::vector<FolderEntry> entries;
    ASSERT_TRUE(files().listFolder(root.get(), entries));
    std::map<std::string, FileType> found;
    for (const auto& entry : entries) found[entry.name] = entry.type;
    EXPECT_EQ(entries.size(), 1504U);
    EXPECT_EQ(found.size(), 1504U);
    EXPECT_EQ(found["d"], FileType::kFolder);
    EXPECT_EQ(found["fifo"], FileType::kFifo);
    EXPECT_EQ(found["link"], FileType::kLink);
    EXPECT_EQ(found["\xff\n"], FileType::kRegular);
  }
}

TEST_P(FileCallsConformance, Status_OfAFile_IsWhatTheSystemSays) {
  const TempTree tree{{"f", File{"12345", 0640, 1234, 567}}};
  const auto root = open(tree);
  ASSERT_EQ(::chmod((tree / "f").c_str(), 04751), 0);
  struct stat expected;
  ASSERT_EQ(::lstat((tree / "f").c_str(), &expected), 0);
  const auto status = *files().status(root.get(), "f");
  EXPECT_EQ(status.type, FileType::kRegular);
  EXPECT_EQ(status.mode, 04751U);
  EXPECT_EQ(status.owner, expected.st_uid);
  EXPECT_EQ(status.group, expected.st_gid);
  EXPECT_EQ(status.size, 5U);
  EXPECT_EQ(status.blocks, static_cast<std::uint64_t>(expected.st_blocks));
  EXPECT_EQ(status.links, 1U);
  EXPECT_EQ(status.modified, (FileTime{1234, 567}));
  EXPECT_EQ(status.changed.seconds, expected.st_ctim.tv_sec);
  EXPECT_EQ(status.identity, (FileIdentity{expected.st_dev, expected.st_ino}));
  EXPECT_EQ(files().statusOf(files().openFile(root.get(), "f")->get())->identity, status.identity);
  EXPECT_FALSE(status.isMountRoot);
  EXPECT_TRUE(files().status(files().openRoot("/")->get(), "proc")->isMountRoot);
}

TEST_P(FileCallsConformance, MayReadAndWrite_AsAnotherUser_FollowThePermissions) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  const TempTree tree{{"open", File{"", 0644}}, {"closed", File{"", 0600}}, {"d", Dir{}}};
  ASSERT_EQ(::chmod((tree / "d").c_str(), 0744), 0);
  ASSERT_EQ(::chmod(tree.path().c_str(), 0755), 0);
  const auto root = open(tree);
  ASSERT_EQ(::seteuid(65534), 0);
  const int readOpen = codeOf(files().mayRead(root.get(), "open"));
  const int readClosed = codeOf(files().mayRead(root.get(), "closed"));
  const int readFolderWithoutEntering = codeOf(files().mayRead(root.get(), "d"));
  const int writeOpen = codeOf(files().mayWrite(root.get(), "open"));
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_EQ(readOpen, 0);
  EXPECT_EQ(readClosed, EACCES);
  EXPECT_EQ(readFolderWithoutEntering, EACCES);
  EXPECT_EQ(writeOpen, EACCES);
  EXPECT_EQ(codeOf(files().mayWrite(root.get(), "closed")), 0);
}

TEST_P(FileCallsConformance, OpenFile_AndRead_LeavesTheAccessTimeAlone) {
  const TempTree tree{{"f", File{"x", 0644, 1000}}};
  const auto root = open(tree);
  const auto file = files().openFile(root.get(), "f");
  EXPECT_EQ(readAll(files(), file->get()), "x");
  struct stat status;
  ASSERT_EQ(::fstat(file->get(), &status), 0);
  EXPECT_EQ(status.st_atim.tv_sec, 1000);
}

// The file calls open without waiting; a lease holder must still be given the time to let go.
const int* leasedFile = nullptr;

TEST_P(FileCallsConformance, OpenFile_WithALeaseOnIt_WaitsUntilItIsGivenBack) {
  const TempTree tree{{"f", File{"x"}}};
  const auto root = open(tree);
  const int holder = ::open((tree / "f").c_str(), O_RDWR | O_CLOEXEC);
  leasedFile = &holder;
  ASSERT_NE(::signal(SIGIO, [](int) { ::fcntl(*leasedFile, F_SETLEASE, F_UNLCK); }), SIG_ERR);
  if (::fcntl(holder, F_SETLEASE, F_WRLCK) != 0) GTEST_SKIP() << "no leases on this file system";
  const auto opened = files().openFile(root.get(), "f");
  ::signal(SIGIO, SIG_DFL);
  ::close(holder);
  ASSERT_TRUE(opened) << opened.error().text();
  EXPECT_EQ(readAll(files(), opened->get()), "x");
}

TEST_P(FileCallsConformance, Rename_OntoAnExistingName_ReplacesOnlyWhenAllowed) {
  const TempTree tree{{"a", File{"a"}}, {"b", File{"b"}}, {"d", Dir{}}, {"e", Dir{}}, {"l", Link{"nowhere"}}};
  const auto root = open(tree);
  EXPECT_EQ(codeOf(files().rename(root.get(), "a", root.get(), "b", Replace::kNever)), EEXIST);
  EXPECT_EQ(codeOf(files().rename(root.get(), "a", root.get(), "l", Replace::kNever)), EEXIST);
  EXPECT_EQ(codeOf(files().rename(root.get(), "d", root.get(), "e", Replace::kNever)), EEXIST);
  EXPECT_EQ(readFile(tree / "b"), "b");
  ASSERT_TRUE(files().rename(root.get(), "a", root.get(), "b", Replace::kAllowed));
  ASSERT_TRUE(files().rename(root.get(), "b", root.get(), "c", Replace::kNever));
  ASSERT_TRUE(files().rename(root.get(), "c", files().openFolder(root.get(), "d")->get(), "f", Replace::kNever));
  ExpectTreeExactly(tree.path(), Dir{{"d", Dir{{"f", File{"a"}}}}, {"e", Dir{}}, {"l", Link{"nowhere"}}});
}

TEST_P(FileCallsConformance, Metadata_SetByDescriptorAndOnALink_IsKept) {
  const TempTree tree{{"f", File{""}}, {"l", Link{"f"}}};
  const auto root = open(tree);
  const auto file = files().openFile(root.get(), "f");
  const auto before = *files().status(root.get(), "f");
  ASSERT_TRUE(files().setOwner(file->get(), before.owner, before.group));
  ASSERT_TRUE(files().setMode(file->get(), 02710));
  ASSERT_TRUE(files().setModified(file->get(), {-5, 999'999'999}));
  ASSERT_TRUE(files().setLinkOwner(root.get(), "l", before.owner, before.group));
  ASSERT_TRUE(files().setLinkModified(root.get(), "l", {77, 8}));
  EXPECT_EQ(files().status(root.get(), "f")->mode, 02710U);
  EXPECT_EQ(files().status(root.get(), "f")->modified, (FileTime{-5, 999'999'999}));
  EXPECT_EQ(files().status(root.get(), "l")->modified, (FileTime{77, 8}));
}

// Where the file system itself cannot refuse to replace.
TEST(RenameWithoutReplacing, OntoEveryKindOfEntry_ReplacesNothing) {
  const TempTree tree{{"f", File{"f"}}, {"d", Dir{{"x", File{"x"}}}}, {"b", File{"b"}}, {"e", Dir{}}, {"l", Link{"-"}}};
  const auto root = realFileCalls().openRoot(tree.path());
  const auto move = [&](const char* from, const char* to) {
    return codeOf(system_calls::renameWithoutReplacing(root->get(), from, root->get(), to));
  };
  for (const char* from : {"f", "d", "l"})
    for (const char* to : {"b", "e"}) EXPECT_EQ(move(from, to), EEXIST) << from << " " << to;
  EXPECT_EQ(move("missing", "new"), ENOENT);
  EXPECT_EQ(move("f", "f2"), 0);
  EXPECT_EQ(move("d", "d2"), 0);
  EXPECT_EQ(move("l", "l2"), 0);
  ExpectTreeExactly(
      tree.path(),
      Dir{{"f2", File{"f"}}, {"d2", Dir{{"x", File{"x"}}}}, {"b", File{"b"}}, {"e", Dir{}}, {"l2", Link{"-"}}});
}

}  // namespace
}  // namespace lumisk::test
