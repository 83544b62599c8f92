#include "platform/paths.h"

namespace lumisk::paths {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Paths_LastComponentAndParent, Splitting_TakesWholeComponents) {
  struct Case {
    const char *path, *last, *parent;
  };
  for (const auto& [path, last, folder] :
       {Case{"/", "", "/"}, Case{"/a", "a", "/"}, Case{"/a/b//", "b", "/a"}, Case{"a", "a", ""}, Case{"a/", "a", ""},
        Case{"a//b", "b", "a"}, Case{"//a", "a", "/"}, Case{"", "", ""}, Case{"/a/\xff", "\xff", "/a"}}) {
    EXPECT_EQ(lastComponent(path), last) << path;
    EXPECT_EQ(parent(path), folder) << path;
  }
}

TEST(Paths_Join, AnySlashes_GivesOneBetweenTheParts) {
  EXPECT_EQ(join("/a", "b"), "/a/b");
  EXPECT_EQ(join("/a/", "/b"), "/a/b");
  EXPECT_EQ(join("/", "b"), "/b");
  EXPECT_EQ(join("", "b"), "b");
  EXPECT_EQ(join("", "/b"), "/b");
  EXPECT_EQ(join("/a", ""), "/a");
}

TEST(Paths_Components, DoubledSlashes_AreOne) {
  EXPECT_THAT(components("//a/ b//c/"), ElementsAre("a", " b", "c"));
  EXPECT_THAT(components("/"), IsEmpty());
}

TEST(Paths_Extension, DotsThatBelongToTheName_AreNotOne) {
  EXPECT_EQ(extension("a.tar.gz"), "gz");
  EXPECT_EQ(withoutExtension("a.tar.gz"), "a.tar");
  EXPECT_EQ(withoutExtension("d.e/f"), "d.e/f");
  EXPECT_EQ(extension(".a.txt"), "txt");
  for (const char* name : {".profile", "a.", "a", "", ".", "..", "..a", "d.e/f", "d/.e"}) {
    EXPECT_EQ(extension(name), "") << name;
    EXPECT_EQ(withoutExtension(name), name);
  }
}

TEST(Paths_IsInside, SharedPrefixOfANameOnly_IsOutside) {
  EXPECT_TRUE(isInside("/a/b", "/a"));
  EXPECT_TRUE(isInside("/a", "/a/"));
  EXPECT_TRUE(isInside("/a//b", "/a/b"));
  EXPECT_TRUE(isInside("/a", "/"));
  EXPECT_FALSE(isInside("/ab", "/a"));
  EXPECT_FALSE(isInside("/a", "/a/b"));
  EXPECT_FALSE(isInside("a/b", "/a"));
  EXPECT_FALSE(isInside("/a", ""));
  EXPECT_FALSE(isInside("", "/"));
}

TEST(Paths_Normalised, DotsAndRelativePaths_GiveAPlainAbsolutePath) {
  EXPECT_EQ(normalised("b/../c/./d//", "/w/x"), "/w/x/c/d");
  EXPECT_EQ(normalised("..", "/w/x"), "/w");
  EXPECT_EQ(normalised("../../../..", "/w/x"), "/");
  EXPECT_EQ(normalised("/a/..b/...", "/w"), "/a/..b/...");
  EXPECT_EQ(normalised("", "/w/"), "/w");
}

}  // namespace
}  // namespace lumisk::paths
