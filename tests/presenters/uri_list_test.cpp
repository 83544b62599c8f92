#include "presenters/uri_list.h"

#include <gtest/gtest.h>

#include "support/home_fixture.h"

namespace lumisk {
namespace {

using Paths = std::vector<std::string>;

TEST(PathsOfUriList, EncodedBytes_AreThePathsWhateverTheirEncoding) {
  EXPECT_EQ(pathsOfUriList("file:///home/anna/Gr%C3%BC%C3%9Fe\r\nfile:///old/caf%E9%20%25\r\n"),
            (Paths{"/home/anna/Gr\xC3\xBC\xC3\x9F"
                   "e",
                   "/old/caf\xE9 %"}));
  EXPECT_EQ(pathsOfUriList("file://localhost/a/"), Paths{"/a"});
  EXPECT_EQ(pathsOfUriList("file:/b"), Paths{"/b"});
}

TEST(PathsOfUriList, WhatIsNoLocalFile_IsLeftOut) {
  EXPECT_EQ(pathsOfUriList("# a comment\r\nhttp://x/y\r\nfile://server/z\r\nfile:///bad%2\r\nfile:///zero%00\r\n\r\n"),
            Paths{});
}

TEST(TypedPath, OfTheHomeFolder_IsWhole) {
  const test::ScopedVariable home("LUMISK_HOME", "/home/anna");
  EXPECT_EQ(pathOfTyped("~/Copies"), "/home/anna/Copies");
  EXPECT_EQ(pathOfTyped("~"), "/home/anna");
  EXPECT_EQ(pathOfTyped("~bob/x"), "~bob/x");
  EXPECT_EQ(pathOfTyped("/a/~"), "/a/~");
}

}  // namespace
}  // namespace lumisk
