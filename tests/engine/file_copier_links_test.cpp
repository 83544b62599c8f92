#include "engine/file_copier_fixture.h"

namespace lumisk::test {
namespace {

using Outcome = FileCopier::LinkOutcome;

class LinkCopyTest : public CopierFixture {
 protected:
  Outcome copyLink(const std::string& name) {
    const Place from = source(name);
    const Place to = target(name);
    return copier.copyMacintoshFileLink(from, RunFixture::seen(from), to, RunFixture::standing(to));
  }
};
INSTANTIATE_TEST_SUITE_P(Pace, LinkCopyTest, ::testing::Values(PaceKind::kFull), paceName);

TEST_P(LinkCopyTest, LongTextAndDate_AreKept) {
  const std::string text = "../" + std::string(4092, 'd');  // no link can be longer
  if (!realFileCalls().makeLink(text, source("l").folder, "l")) GTEST_SKIP() << "no such links in " << tree.path();
  setModified(tree / "s/l", 1000, 7);
  EXPECT_EQ(copyLink("l"), Outcome::kMade);
  ExpectSameTrees(tree / "s/l", tree / "t/l");
  EXPECT_EQ(run.log.all(), "job: symbolic link -- Copied " + tree / "s/l" + "\n");
}

TEST_P(LinkCopyTest, IdenticalLink_IsLeftAlone) {
  makeTree(tree / "s", {{"l", Link{"x"}}});
  makeTree(tree / "t", {{"l", Link{"x"}}});
  setModified(tree / "t/l", 1000);
  EXPECT_EQ(copyLink("l"), Outcome::kSame);
  EXPECT_EQ(RunFixture::seen(target("l")).modified.seconds, 1000);
  EXPECT_TRUE(run.log.lines.empty());
  EXPECT_TRUE(run.run.written.isEmpty());
}

TEST_P(LinkCopyTest, WhatStandsThere_IsKeptAsAnOverwrittenFileIs) {
  makeTree(tree / "s", {{"file", Link{"x"}}, {"link", Link{"x"}}, {"folder", Link{"x"}}});
  makeTree(tree / "t", {{"file", File{"old"}}, {"link", Link{"old"}}, {"folder", Dir{}}});
  for (const char* name : {"file", "folder", "link"}) EXPECT_EQ(copyLink(name), Outcome::kMade);
  ExpectSameTrees(tree / "s/file", tree / "t/file");
  EXPECT_EQ(trashed(), (std::map<std::string, std::string>{{"file", "old"}, {"folder", "/"}}));
  makeTree(tree / "s", {{"link", Link{"y"}}});
  run.info.bMoveFileTrash = true;
  EXPECT_EQ(copyLink("link"), Outcome::kMade);
  EXPECT_EQ(trashed()["link"], "->x");
}

TEST_P(LinkCopyTest, FileOrFifo_IsNotALink) {
  makeTree(tree / "s", {{"file", File{"x"}}, {"fifo", Fifo{}}, {"was", Link{"x"}}});
  EXPECT_EQ(copyLink("file"), Outcome::kNotALink);
  EXPECT_EQ(copyLink("fifo"), Outcome::kNotALink);
  files.before(FileCall::kReadLink, [&] { makeTree(tree / "s", {{"was", File{"file now"}}}); });
  EXPECT_EQ(copyLink("was"), Outcome::kNotALink);
  ExpectTreeExactly(tree / "t", Dir{});
}

TEST_P(LinkCopyTest, Failures_AreLoggedWithTheirCode) {
  makeTree(tree / "s", {{"l", Link{"x"}}});
  files.fail(FileCall::kReadLink, EIO);
  EXPECT_EQ(copyLink("l"), Outcome::kFailed);
  files.fail(FileCall::kMakeLink, ENAMETOOLONG);
  EXPECT_EQ(copyLink("l"), Outcome::kFailed);
  EXPECT_EQ(run.log.all(), "job: ERROR: Failed to read symbolic link from the file \"" + tree / "s/l" +
                               "\"\n error code: 5,Input/output error\n" +
                               "job: ERROR: Failed to create symbolic link. destinationPath: " + tree / "t/l" +
                               "\n error code: 36,File name too long\n");
  files.fail(FileCall::kMakeLink, ENOSPC);
  EXPECT_EQ(copyLink("l"), Outcome::kFailed);
  EXPECT_EQ(run.run.m_nErrorCode, RunError::kOutOfSpace);
  ExpectTreeExactly(tree / "t", Dir{});
}

TEST_P(LinkCopyTest, OwnerAndDateThatCannotBeKept_AreLosses) {
  makeTree(tree / "s", {{"l", Link{"x"}}});
  FileStatus seen = RunFixture::seen(source("l"));
  seen.owner += 1;
  files.fail(FileCall::kSetLinkOwner, EPERM);
  files.fail(FileCall::kSetLinkModified, EOPNOTSUPP);
  EXPECT_EQ(copier.copyMacintoshFileLink(source("l"), seen, target("l"), std::nullopt), Outcome::kMade);
  EXPECT_EQ(run.run.counts.losses, 1u);
  EXPECT_EQ(run.log.lines.size(), 3u);
}

class FolderCopyTest : public CopierFixture {};
INSTANTIATE_TEST_SUITE_P(Pace, FolderCopyTest, ::testing::Values(PaceKind::kFull), paceName);

TEST_P(FolderCopyTest, OtherFolderThereByNow_IsNotTakenForOurs) {
  makeTree(tree / "t", {{"d", Dir{}}});
  const auto made = copier.createMacintoshDirectory(target("d"), std::nullopt);
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error().code, EEXIST);
  EXPECT_EQ(made.error().path, tree / "t/d");
}

}  // namespace
}  // namespace lumisk::test
