#include "engine/full_path.h"

#include <gtest/gtest.h>

namespace lumisk {
namespace {

const PlaceNames kNames{"desk", "Root"};

TEST(FullPath, RetainSourcePath_BeginsWithComputerAndVolume) {
  EXPECT_EQ(getFullPathRetainSourcePath("/home/anna", kNames), "/desk/Volumes/Root/home/anna");
  EXPECT_EQ(getFullPathRetainSourcePath("/Volumes/Disk/a", kNames), "/desk/Volumes/Disk/a");
  EXPECT_EQ(getFullPathRetainSourcePath("/", kNames), "/desk/Volumes/Root/");
  // By whole components.
  EXPECT_EQ(getFullPathRetainSourcePath("/VolumesOld/a", kNames), "/desk/Volumes/Root/VolumesOld/a");
  EXPECT_EQ(getFullPathRetainSourcePath("/a/Volumes/b", kNames), "/desk/Volumes/Root/a/Volumes/b");
}

TEST(FullPath, CompareTwoPath_SaysWhetherOneEndsWithTheOther) {
  EXPECT_TRUE(compareTwoPath("/a/b", "/x/a/b"));
  EXPECT_TRUE(compareTwoPath("/a/b", "/a/b/"));
  EXPECT_TRUE(compareTwoPath("/", "/x"));
  EXPECT_FALSE(compareTwoPath("/a/b", "/x/aa/b"));
  EXPECT_FALSE(compareTwoPath("/a/b", "/b"));
  EXPECT_FALSE(compareTwoPath("/a/b", "/a/b/c"));
  EXPECT_FALSE(compareTwoPath("/a", "/"));
}

}  // namespace
}  // namespace lumisk
