#include <sys/stat.h>
#include <unistd.h>

#include "engine/file_copier_fixture.h"

namespace lumisk::test {
namespace {

using namespace std::chrono_literals;
using Kept = VersionKeeper::Kept;

constexpr std::size_t kMegabyte = 1024 * 1024;

std::string bytes(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 251 + i / 65536);
  return text;
}

class FileCopierTest : public CopierFixture {};
INSTANTIATE_TEST_SUITE_P(Pace, FileCopierTest, kBothPaces, paceName);

TEST_P(FileCopierTest, NewFile_CarriesDataDateModeAndAttributes) {
  for (const std::size_t size : {0u, 1u, 8192u, 8193u, 300'000u, 3'000'001u}) {
    const std::string name = std::to_string(size);
    makeTree(tree / "s", {{name, File{bytes(size),
                                      04751,
                                      1000 + static_cast<std::int64_t>(size),
                                      123'456'789,
                                      {{"user.tag", std::string(1500, 'x')}}}}});
    const auto copied = copy(name);
    ASSERT_TRUE(copied) << copied.error().text();
    EXPECT_EQ(copied->bytes, size);
    EXPECT_FALSE(copied->changedMeanwhile);
    EXPECT_EQ(copied->made.device, RunFixture::seen(target(name)).identity.device);
  }
  for (const char* folder : {"s", "t"}) setModified(tree / folder, 1000);
  ExpectSameTrees(tree / "s", tree / "t");
  EXPECT_FALSE(run.run.written.isEmpty());
}

TEST_P(FileCopierTest, FilesOfOneFolder_EachGetTheirOwnPermissionsAndNeverMore) {
  FileStatus wanted;
  const auto isNeverMore = [&] {
    for (const auto& entry : std::filesystem::directory_iterator(tree / "t")) {
      if (!isTemporaryName(entry.path().filename())) continue;
      const FileStatus made = RunFixture::seen(target(entry.path().filename()));
      const bool isTheirs = made.owner == wanted.owner && made.group == wanted.group;
      EXPECT_EQ(made.mode & ~(isTheirs ? wanted.mode | 0600U : 0600U), 0u) << std::oct << wanted.mode;
    }
  };
  files.before(FileCall::kWrite, isNeverMore, {.times = FaultyFileCalls::kAlways});
  int number = 0;
  for (const unsigned owner : {0u, 0u, 1234u, 1234u, 0u}) {
    for (const std::uint32_t mode : {0644u, 0644u, 0600u, 0755u, 0755u, 0444u, 04755u, 0666u, 0640u, 0640u, 0640u}) {
      const std::string name = std::to_string(number++);
      makeTree(tree / "s", {{name, File{"text", std::nullopt, 1000}}});
      const std::string path = tree / ("s/" + name);
      if (::geteuid() == 0) {
        ASSERT_EQ(::chown(path.c_str(), owner, owner), 0);
      }
      ASSERT_EQ(::chmod(path.c_str(), mode), 0);
      wanted = RunFixture::seen(source(name));
      ASSERT_TRUE(copy(name));
      const FileStatus made = RunFixture::seen(target(name));
      EXPECT_EQ(made.mode, wanted.mode);
      EXPECT_EQ(made.owner, wanted.owner);
      EXPECT_EQ(made.group, wanted.group);
    }
  }
}

TEST_P(FileCopierTest, FolderThatHandsOnAnAccessList_DoesNotAddItToCopies) {
  const std::string acl{
      "\x02\0\0\0\x01\0\x07\0\xff\xff\xff\xff\x02\0\x07\0\x01\0\0\0\x04\0\x05\0\xff\xff\xff\xff\x10\0"
      "\x07\0\xff\xff\xff\xff\x20\0\x05\0\xff\xff\xff\xff",
      44};
  const Place folder = target("x");
  if (!realFileCalls().setAttribute(folder.folder, "system.posix_acl_default", acl))
    GTEST_SKIP() << "no access lists in " << tree.path();
  makeTree(tree / "s", {{"a", File{"text", 0640, 1000}}});
  ASSERT_TRUE(copy("a"));
  ExpectSameTrees(tree / "s/a", tree / "t/a");
}

TEST_P(FileCopierTest, FileWithHoles_StaysSparse) {
  const std::string data(65536, 'x');
  writeFile(tree / "s/a", "");
  ASSERT_EQ(truncate((tree / "s/a").c_str(), 8 * kMegabyte), 0);
  const auto file = std::move(*realFileCalls().openFileForWriting(source("a").folder, "a"));
  for (const std::uint64_t at : {2 * kMegabyte, 5 * kMegabyte + 5})
    ASSERT_EQ(pwrite(file.get(), data.data(), data.size(), static_cast<off_t>(at)), static_cast<ssize_t>(data.size()));
  const FileStatus original = RunFixture::seen(source("a"));
  if (original.blocks * 512 > 4 * kMegabyte) GTEST_SKIP() << "no holes in " << tree.path();
  ASSERT_TRUE(copy("a"));
  EXPECT_TRUE(readFile(tree / "s/a") == readFile(tree / "t/a"));
  EXPECT_LT(RunFixture::seen(target("a")).blocks * 512, kMegabyte);
  // A crash must not leave the size without the data.
  EXPECT_EQ(files.count(FileCall::kSyncFile), 1);
  // Where holes cannot be asked for, the same bytes arrive.
  files.fail(FileCall::kSeekData, EINVAL);
  files.fail(FileCall::kCloneFile, EOPNOTSUPP);
  ASSERT_TRUE(copy("a"));
  EXPECT_TRUE(readFile(tree / "s/a") == readFile(tree / "t/a"));
}

TEST_P(FileCopierTest, FileThatGrowsMeanwhile_HasAnEndAndIsCopiedAgain) {
  makeTree(tree / "s", {{"a", File{bytes(20'000), 0644, 1000}}});
  const auto grow = [&] {
    FILE* file = std::fopen((tree / "s/a").c_str(), "a");
    std::fputs("more", file);
    std::fclose(file);
    setModified(tree / "s/a", 1000);
  };
  files.before(FileCall::kRead, grow, {.times = FaultyFileCalls::kAlways});
  const auto copied = copy("a");
  ASSERT_TRUE(copied);
  EXPECT_EQ(readFile(tree / "t/a"), bytes(20'000));
  EXPECT_TRUE(copied->changedMeanwhile);
  EXPECT_STREQ(decideCopy({RunFixture::seen(source("a")), RunFixture::seen(target("a"))}).reason, "newer");
}

TEST_P(FileCopierTest, FileThatShrinksMeanwhile_GivesWhatWasThere) {
  makeTree(tree / "s", {{"a", File{bytes(2 * kMegabyte), 0644, 1000}}});
  const auto shrink = [&] { ASSERT_EQ(truncate((tree / "s/a").c_str(), 5000), 0); };
  files.fail(FileCall::kCloneFile, EOPNOTSUPP);
  files.before(FileCall::kRead, shrink);
  files.before(FileCall::kCopyRange, shrink);
  const auto copied = copy("a");
  ASSERT_TRUE(copied);
  EXPECT_EQ(readFile(tree / "t/a"), bytes(5000));
}

TEST_P(FileCopierTest, FileThatGivesFewerBytesThanItHas_IsNotTakenForWhole) {
  makeTree(tree / "s", {{"a", File{bytes(2 * kMegabyte), 0644, 1000}}});
  makeTree(tree / "t", {{"a", File{"earlier", 0644, 500}}});
  const auto resize = [&](std::size_t size) {
    ASSERT_EQ(truncate((tree / "s/a").c_str(), static_cast<off_t>(size)), 0);
  };
  bool isCut = false;
  const auto cut = [&] {
    resize(5000);
    isCut = true;
  };
  files.fail(FileCall::kCloneFile, EOPNOTSUPP);
  files.before(FileCall::kRead, cut);
  files.before(FileCall::kCopyRange, cut);
  const auto mend = [&] {
    if (isCut) resize(2 * kMegabyte);
  };
  files.before(FileCall::kStatusOf, mend, {.name = "a", .times = FaultyFileCalls::kAlways});
  const auto copied = copy("a");
  ASSERT_FALSE(copied);
  EXPECT_EQ(copied.error().code, ENODATA);
  EXPECT_THAT(treeListing(tree / "t"), ::testing::ElementsAre("a"));
  EXPECT_EQ(readFile(tree / "t/a"), "earlier");
}

TEST_P(FileCopierTest, FileWithHolesThatShrinksMeanwhile_EndsWhereItEnds) {
  writeFile(tree / "s/a", bytes(2 * kMegabyte));
  ASSERT_EQ(truncate((tree / "s/a").c_str(), 8 * kMegabyte), 0);
  const auto shrink = [&] { ASSERT_EQ(truncate((tree / "s/a").c_str(), 5000), 0); };
  files.fail(FileCall::kCloneFile, EOPNOTSUPP);
  files.before(FileCall::kRead, shrink);
  files.before(FileCall::kCopyRange, shrink);
  ASSERT_TRUE(copy("a"));
  EXPECT_EQ(readFile(tree / "t/a"), bytes(5000));
}

TEST_P(FileCopierTest, OtherFileUnderTheSeenName_IsNotCopied) {
  makeTree(tree / "s", {{"a", File{"seen"}}, {"b", File{"other"}}, {"l", Link{"b"}}, {"p", Fifo{}}});
  const FileStatus seen = RunFixture::seen(source("a"));
  for (const char* name : {"b", "l", "p"}) {
    const auto copied = copier.copyMacintoshFile(source(name), seen, target("a"), std::nullopt);
    ASSERT_FALSE(copied) << name;
    EXPECT_EQ(copied.error().code, ESTALE);
    EXPECT_EQ(copied.error().path, tree / ("s/" + std::string(name)));
  }
  ExpectTreeExactly(tree / "t", Dir{});
}

TEST_P(FileCopierTest, StoppedInTheMiddle_LeavesNothingWithinOneChunk) {
  makeTree(tree / "s", {{"a", File{bytes(5 * kMegabyte)}}});
  makeTree(tree / "t", {{"a", File{"earlier"}}});
  files.fail(FileCall::kCloneFile, EOPNOTSUPP);
  const FileCall chunk = GetParam() == PaceKind::kFull ? FileCall::kCopyRange : FileCall::kRead;
  files.before(chunk, [&] { run.cancelled = true; }, {.nth = 2});
  EXPECT_EQ(codeOf(copy("a")), ECANCELED);
  EXPECT_EQ(files.count(chunk), 2);
  ExpectTreeExactly(tree / "t", Dir{{"a", File{"earlier"}}});
}

TEST_P(FileCopierTest, WhateverComesInBetween_IsNeverReplaced) {
  const auto writeTheirs = [&] { writeFile(tree / "t/a", "theirs"); };
  struct Case {
    bool stands;
    std::function<void()> trouble;
    int code;
    Dir left;
  };
  const Dir old{{"a", File{"old"}}}, theirs{{"a", File{"theirs"}}};
  const Case cases[] = {{true, [&] { files.fail(FileCall::kClose, EDQUOT, {.name = ".lumisk-*"}); }, EDQUOT,
                         old},  // a server, at the end
                        {true, [&] { keeper.error = EACCES; }, EACCES, old},
                        {true, [&] { files.before(FileCall::kWrite, writeTheirs); }, ESTALE, theirs},
                        {false, [&] { files.before(FileCall::kRename, writeTheirs); }, EEXIST, theirs},
                        {true, [&] { keeper.answer = Kept::kMoved, keeper.afterwards = writeTheirs; }, EEXIST,
                         Dir{{"a", File{"theirs"}}, {"a.kept", File{"old"}}}}};
  for (const Case& one : cases) {
    makeTree(tree.path(), {{"s", Dir{{"a", File{"new"}}}}, {"t", one.stands ? old : Dir{}}});
    setModified(tree / (one.stands ? "t/a" : "t"), 1000);
    files.forgetRules();
    forbidForeignTrash(files);
    keeper.answer = Kept::kNothing, keeper.error = 0;
    one.trouble();
    EXPECT_EQ(codeOf(copy("a")), one.code);
    ExpectTreeExactly(tree / "t", one.left);
  }
  EXPECT_EQ(run.run.m_nErrorCode, RunError::kOutOfSpace) << "a quota is a full disk";
}

TEST_P(FileCopierTest, RevisionLinked_IsReplacedInOneStep) {
  makeTree(tree / "s", {{"a", File{"new"}}});
  makeTree(tree / "t", {{"a", File{"old"}}});
  run.info.bMoveFileTrash = true;
  keeper.answer = Kept::kLinked;
  const auto copied = copy("a");
  ASSERT_TRUE(copied);
  EXPECT_TRUE(copied->keptVersion);
  ExpectTreeExactly(tree / "t", Dir{{"a", File{"new"}}, {"a.kept", File{"old"}}});
  EXPECT_TRUE(trashed().empty());
}

TEST_P(FileCopierTest, FullDisk_IsToldOnceAndWhatCannotFitIsNotBegun) {
  makeTree(tree / "s", {{"a", File{"new"}}, {"b", File{"small"}}});
  makeTree(tree / "t", {{"a", File{"old"}}});
  files.fail(FileCall::kWrite, ENOSPC);
  EXPECT_FALSE(copy("a"));
  EXPECT_EQ(run.run.m_nErrorCode, RunError::kOutOfSpace);
  EXPECT_EQ(run.outOfSpace, 1);
  ExpectTreeExactly(tree / "t", Dir{{"a", File{"old"}}});

  const int created = files.count(FileCall::kCreateFile);
  FileStatus seen = RunFixture::seen(source("a"));
  seen.size = std::uint64_t{1} << 60;
  seen.blocks = seen.size / 512;
  EXPECT_EQ(codeOf(copier.copyMacintoshFile(source("a"), seen, target("a"), std::nullopt)), ENOSPC);
  EXPECT_EQ(files.count(FileCall::kCreateFile), created);
  EXPECT_TRUE(copy("b"));
}

TEST_P(FileCopierTest, WhatTheTargetCannotHold_IsALossLoggedOnceForItsKind) {
  makeTree(tree / "s",
           {{"a", File{"1", {}, {}, 0, {{"user.x", "1"}}}}, {"b", File{"2", {}, {}, 0, {{"user.y", "1"}}}}});
  files.fail(FileCall::kSetAttribute, ENOSPC, {.times = FaultyFileCalls::kAlways});
  ASSERT_TRUE(copy("a"));
  ASSERT_TRUE(copy("b"));
  EXPECT_EQ(run.run.counts.losses, 2u);
  EXPECT_EQ(run.log.lines.size(), 1u);
  EXPECT_NE(run.log.all().find("job: WARNING: the target cannot keep the attribute user.x of \"" + tree / "t/a"),
            std::string::npos);
  EXPECT_EQ(run.outOfSpace, 0);
}

TEST_P(FileCopierTest, LargeFile_TellsHowFarItIs) {
  makeTree(tree / "s", {{"a", File{bytes(3 * kMegabyte)}}});
  run.run.m_nFileTotal = 2;
  run.run.m_nFileCount = 1;
  files.fail(FileCall::kCloneFile, EOPNOTSUPP);
  for (const FileCall call : {FileCall::kRead, FileCall::kCopyRange})
    files.before(call, [&] { run.clock.advance(300ms); }, {.times = FaultyFileCalls::kAlways});
  ASSERT_TRUE(copy("a"));
  ASSERT_GE(run.progress.size(), 3u);
  EXPECT_EQ(run.progress.front().fileName, "a");
  EXPECT_EQ(run.progress.front().totalPercent, 50);
  EXPECT_GT(run.progress.front().backupPercent, 0);
  EXPECT_LT(run.progress.front().backupPercent, 40);
  EXPECT_EQ(run.progress.back().bytes, 3 * kMegabyte);
  EXPECT_EQ(run.run.bytesOfFile, 0u);
}

class FullPaceTest : public CopierFixture {};
INSTANTIATE_TEST_SUITE_P(Pace, FullPaceTest, ::testing::Values(PaceKind::kFull), paceName);

TEST_P(FullPaceTest, WhatTheKernelRefuses_IsNotAskedForAgain) {
  makeTree(tree / "s", {{"a", File{bytes(kMegabyte)}}, {"b", File{bytes(kMegabyte + 1)}}});
  for (const FileCall call : {FileCall::kCloneFile, FileCall::kCopyRange})
    files.fail(call, EXDEV, {.times = FaultyFileCalls::kAlways});
  ASSERT_TRUE(copy("a"));
  ASSERT_TRUE(copy("b"));
  ExpectSameTrees(tree / "s/a", tree / "t/a");
  ExpectSameTrees(tree / "s/b", tree / "t/b");
  EXPECT_EQ(files.count(FileCall::kCloneFile), 1);
  EXPECT_EQ(files.count(FileCall::kCopyRange), 1);
}

TEST_P(FullPaceTest, KernelCopyThatFailsHalfWay_IsFinishedByReading) {
  makeTree(tree / "s", {{"a", File{bytes(3 * kMegabyte + 3)}}});
  files.fail(FileCall::kCloneFile, EOPNOTSUPP);
  files.fail(FileCall::kCopyRange, EIO, {.nth = 2});
  ASSERT_TRUE(copy("a"));
  ExpectSameTrees(tree / "s/a", tree / "t/a");
}

class HardLinkTest : public CopierFixture {
 protected:
  void SetUp() override {
    makeTree(tree / "t", {{"a", File{"text"}}});
    first = RunFixture::seen(target("a")).identity;
  }
  Result<FileCopier::Copied> link(const std::string& name) {
    const Place to = target(name);
    return copier.linkMacintoshFile(target("a"), first, to, RunFixture::standing(to));
  }
  FileIdentity first;
};
INSTANTIATE_TEST_SUITE_P(Pace, HardLinkTest, ::testing::Values(PaceKind::kFull), paceName);

TEST_P(HardLinkTest, FurtherNames_AreTheSameFileAndReplaceWhatStands) {
  makeTree(tree / "t", {{"c", File{"old"}}});
  run.info.bMoveFileTrash = true;
  for (const char* name : {"b", "c", "c"}) ASSERT_TRUE(link(name));
  for (const char* name : {"b", "c"}) EXPECT_EQ(RunFixture::seen(target(name)).identity, first);
  EXPECT_EQ(trashed(), (std::map<std::string, std::string>{{"c", "old"}}));
  ExpectTreeExactly(tree / "t", Dir{{"a", File{"text"}}, {"b", File{"text"}}, {"c", File{"text"}}});
}

TEST_P(HardLinkTest, OtherFileUnderTheFirstName_IsNotLinked) {
  first.inode += 1;
  EXPECT_EQ(codeOf(link("b")), ESTALE);
  EXPECT_FALSE(exists(tree / "t/b"));
}

TEST_P(HardLinkTest, TargetWithoutLinks_SaysSo) {
  files.fail(FileCall::kLink, EPERM);
  EXPECT_EQ(codeOf(link("b")), EPERM);
}

}  // namespace
}  // namespace lumisk::test
