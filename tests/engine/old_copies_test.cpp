#include "engine/old_copies.h"

#include <cerrno>
#include <filesystem>

#include "support/faulty_file_calls.h"
#include "support/own_home.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

class OldCopiesTest : public ::testing::Test {
 protected:
  Result<Place> copy(const std::string& name) {
    const Place place = fixture.place(tree / ("t/" + name));
    return copyFileWithOLDTag(fixture.run, copier, trash, place, RunFixture::seen(place));
  }
  TempTree tree{{"t", Dir{}}};
  OwnHome home{tree.path()};
  FaultyFileCalls files;
  RunFixture fixture{PaceKind::kFull, files};
  Trash trash{files, fixture.clock, tree / "t"};
  NoRevisions none;
  FileCopier copier{fixture.run, none, trash};
};

TEST_F(OldCopiesTest, FilesAndLinks_AreCopiedAndStay) {
  makeTree(tree / "t", {{"a.txt", File{"text", 0640, 1000}}, {"l", Link{"x"}}});
  EXPECT_EQ(copy("a.txt")->path, tree / "t/a(OLD).txt");
  ASSERT_TRUE(copy("l"));
  ExpectTreeExactly(tree / "t", {{"a.txt", File{"text", 0640, 1000}},
                                 {"a(OLD).txt", File{"text", 0640, 1000}},
                                 {"l", Link{"x"}},
                                 {"l(OLD)", Link{"x"}}});
}

TEST_F(OldCopiesTest, EarlierOldCopy_GoesToTheTrash) {
  makeTree(tree / "t", {{"a.txt", File{"new"}}, {"a(OLD).txt", File{"lost before"}}});
  ASSERT_TRUE(copy("a.txt"));
  EXPECT_EQ(readFile(tree / "t/a(OLD).txt"), "new");
  EXPECT_EQ(textsBelow(tree.path()).count("lost before"), 1u);
}

TEST_F(OldCopiesTest, FullTarget_LosesNothing) {
  makeTree(tree / "t", {{"a.txt", File{"new"}}, {"a(OLD).txt", File{"lost before"}}});
  files.fail(FileCall::kCreateFile, ENOSPC, {.name = ".lumisk-*"});
  EXPECT_EQ(copy("a.txt").error().code, ENOSPC);
  EXPECT_EQ(readFile(tree / "t/a.txt"), "new");
  EXPECT_EQ(textsBelow(tree.path()).count("lost before"), 1u);
}

}  // namespace
}  // namespace lumisk::test
