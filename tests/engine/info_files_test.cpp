#include "engine/info_files.h"

#include <cerrno>

#include "platform/byte_text.h"
#include "support/faulty_file_calls.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

class InfoFilesTest : public ::testing::Test {
 protected:
  Result<void> create(const InfoFile& wanted) {
    const auto folder = realFileCalls().openRoot(tree.path());
    return createInfoFileIntoDestFolder(files, folder->get(), wanted);
  }
  Result<std::optional<std::string>> find(const std::string& uuid) {
    const auto folder = realFileCalls().openRoot(tree.path());
    return findInfoFile(files, folder->get(), InfoFileKind::kTarget, uuid);
  }

  const InfoFile info{"job", {"/s/a", "/s/\xFF"}, {"/t"}, "11111111-AAAA"};
  const std::string name = "_XXXQelLumiskinfo_job";
  TempTree tree;
  FaultyFileCalls files;
};

TEST(InfoFileName, LongJobName_IsCutTo60CharactersButNotInsideOne) {
  EXPECT_EQ(infoFileName(InfoFileKind::kSource, "job"), "_SSSQelLumiskinfo_job");
  EXPECT_EQ(infoFileName(InfoFileKind::kTarget, std::string(42, 'j')), "_XXXQelLumiskinfo_" + std::string(42, 'j'));
  EXPECT_EQ(infoFileName(InfoFileKind::kTarget, std::string(61, 'j')).size(), 60u);
  std::string wide;
  for (int i = 0; i < 50; ++i) wide += "\xF0\x9F\x92\xBE";
  const std::string cut = infoFileName(InfoFileKind::kTarget, wide);
  EXPECT_EQ(cut.size(), 18u + 42 * 4);
  EXPECT_TRUE(isValidUtf8(cut));
  EXPECT_EQ(infoFileName(InfoFileKind::kTarget, std::string(70, '\xFF')).size(), 60u);
}

TEST_F(InfoFilesTest, Made_HoldsTheJobAndIsNotTouchedWhileTrue) {
  ASSERT_TRUE(create(info));
  const auto content = parsePropertyList(readFile(tree / name));
  ASSERT_TRUE(content);
  EXPECT_EQ((*content)["name"].text(), "job");
  EXPECT_EQ((*content)["sourcePath"].at(1).text(), "/s/\xFF");
  EXPECT_EQ((*content)["destinationPath"].at(0).text(), "/t");
  EXPECT_EQ((*content)["uuid"].text(), info.uuid);
  ASSERT_TRUE(create(info));
  EXPECT_EQ(files.count(FileCall::kCreateFile), 1);
}

TEST_F(InfoFilesTest, ChangedJob_ChangesItsOwnFile) {
  ASSERT_TRUE(create(info));
  InfoFile renamed = info;
  renamed.name = "other";
  ASSERT_TRUE(create(renamed));
  EXPECT_EQ(listing(tree.path()), std::vector<std::string>{"_XXXQelLumiskinfo_other"});
  EXPECT_EQ(find(info.uuid).value(), "_XXXQelLumiskinfo_other");
}

TEST_F(InfoFilesTest, NameOfAnotherJob_IsLeftAlone) {
  InfoFile other = info;
  other.uuid = "22222222-BBBB";
  ASSERT_TRUE(create(other));
  writeFile(tree / "_XXXQelLumiskinfo_x", "damaged");
  const std::string before = readFile(tree / name);
  ASSERT_TRUE(create(info));
  ASSERT_TRUE(create(info));
  EXPECT_EQ(readFile(tree / name), before);
  EXPECT_EQ(find(info.uuid).value(), name + "~11111111");
  EXPECT_EQ(find(other.uuid).value(), name);
  EXPECT_EQ(find("33333333").value(), std::nullopt);
}

TEST_F(InfoFilesTest, FileThatCannotBeRead_IsNotTakenForMissing) {
  ASSERT_TRUE(create(info));
  files.fail(FileCall::kOpenFile, EIO, {.times = FaultyFileCalls::kAlways});
  EXPECT_EQ(find(info.uuid).error().code, EIO);
  EXPECT_FALSE(create(info));
  EXPECT_EQ(listing(tree.path()).size(), 1u);
}

TEST(CheckTarget, WrittenTargetWithoutItsInfoFile_IsAProblemUnlessAccepted) {
  EXPECT_EQ(checkTarget({.wasWrittenBefore = true}), TargetVerdict::kUnknown);
  EXPECT_EQ(checkTarget({.wasWrittenBefore = true, .isAccepted = true}), TargetVerdict::kNew);
  EXPECT_EQ(checkTarget({.wasWrittenBefore = true, .hasInfoFile = true}), TargetVerdict::kKnown);
  EXPECT_EQ(checkTarget({}), TargetVerdict::kNew);
}

}  // namespace
}  // namespace lumisk::test
