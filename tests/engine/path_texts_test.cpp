#include "engine/path_texts.h"

namespace lumisk::test {
namespace {

TEST(PathTexts_Size, EachUnit_BeginsAtItsPowerOf1024) {
  EXPECT_EQ(sizeWithGMKFormat(0), "0 B");
  EXPECT_EQ(sizeWithGMKFormat(1023), "1023 B");
  EXPECT_EQ(sizeWithGMKFormat(1024), "1.00 KB");
  EXPECT_EQ(sizeWithGMKFormat((1U << 20) - 1), "1024.00 KB");
  EXPECT_EQ(sizeWithGMKFormat(2621440), "2.50 MB");
  EXPECT_EQ(sizeWithGMKFormat(std::uint64_t{1} << 40), "1.00 TB");
  EXPECT_EQ(sizeWithGMKFormat(~std::uint64_t{0}), "16777216.00 TB");
}

TEST(PathTexts_Conflict, UnknownCreationDate_IsSaid) {
  FileStatus status;
  status.size = 2048;
  status.modified = {1'000'000'000, 5};
  const std::string text = getStringWithFileName("a.txt", status);
  EXPECT_TRUE(text.starts_with("a.txt\nSize:2.00 KB\nCreation Date:unknown\nModification Date:2001-09-0")) << text;
}

TEST(PathTexts_OtherSide, Prefix_IsReplacedByWholeComponentsOnly) {
  EXPECT_EQ(getSourcePathFromPath("/t/a/b", "/t/", "/s"), "/s/a/b");
  EXPECT_EQ(getTargetPathFromPath("/s", "/s", "/t"), "/t");
  EXPECT_EQ(getSourcePathFromPath("/tt/a", "/t", "/s"), std::nullopt);
  EXPECT_EQ(getSourcePathFromPath("/x/t/a", "/t", "/s"), std::nullopt);
}

}  // namespace
}  // namespace lumisk::test
