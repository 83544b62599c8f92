#include "engine/deletion_rule.h"

namespace lumisk::test {
namespace {

const DeletionScope kScope{{{"/s/docs", "/t/docs"}, {"/u/pics", "/t/pics"}}, {"/t"}, {"/s/docs/disk"}};

bool isPlaced(const std::string& source, const std::string& destination, const DeletionScope& scope = kScope) {
  return placePair(scope, source, destination).has_value();
}

TEST(DeletionRule_Pair, OrdinaryPair_HasItsRootAndItsWay) {
  const auto pair = placePair(kScope, "/u/pics/a/b", "/t/pics/a/b");
  ASSERT_TRUE(pair);
  EXPECT_EQ(pair->root, 1u);
  EXPECT_EQ(pair->components, (std::vector<std::string>{"a", "b"}));
}

TEST(DeletionRule_Pair, WhatTheJobWouldNotWrite_IsNeverDeleted) {
  EXPECT_FALSE(isPlaced("/s/docs", "/t/docs"));              // a root
  EXPECT_FALSE(isPlaced("/s/docs/a", "/t"));                 // the target
  EXPECT_FALSE(isPlaced("/s/docs/a", "/t/docs/b"));          // one of the two is damaged
  EXPECT_FALSE(isPlaced("/s/docs/a", "/t/pics/a"));          // another source's copy
  EXPECT_FALSE(isPlaced("/s/docsX/a", "/t/docsX/a"));        // components, not letters
  EXPECT_FALSE(isPlaced("/gone/a", "/t/gone/a"));            // a source that the job no longer has
  EXPECT_FALSE(isPlaced("/s/docs/a", "/home/anna/docs/a"));  // a target that it no longer has
  EXPECT_FALSE(isPlaced("/s/docs/../x", "/t/docs/../x"));    // leaves the target
  EXPECT_FALSE(isPlaced("/s/docs/.Trash-0/x", "/t/docs/.Trash-0/x"));
  EXPECT_FALSE(isPlaced("", ""));
  const DeletionScope revision{{{"/s/Revision", "/t/Revision"}}, {"/t"}, {}};
  EXPECT_FALSE(isPlaced("/s/Revision/a", "/t/Revision/a", revision));
  const DeletionScope nested{{{"/s", "/t/s"}, {"/v", "/t/s/b/v"}}, {"/t", "/t/s/b"}, {}};
  EXPECT_FALSE(isPlaced("/s/b", "/t/s/b", nested));  // holds another target
}

TEST(DeletionRule_Pair, GoneMount_ProvesNothingBelowItNorAboutWhatHeldIt) {
  EXPECT_FALSE(isPlaced("/s/docs/disk/a", "/t/docs/disk/a"));
  EXPECT_FALSE(isPlaced("/s/docs/disk", "/t/docs/disk"));
  const DeletionScope deep{{{"/s", "/t/s"}}, {"/t"}, {"/s/a/disk"}};
  EXPECT_FALSE(isPlaced("/s/a", "/t/s/a", deep));
  EXPECT_TRUE(isPlaced("/s/ab", "/t/s/ab", deep));
}

TEST(DeletionRule_Names, OwnFilesStay_NamesThatAreNeverCopiedGo) {
  const std::vector<FolderEntry> source{{"a", FileType::kRegular}, {".localized", FileType::kRegular}};
  std::vector<FolderEntry> destination;
  for (const char* name : {"a", "A", ".localized", "b", ".lumiskFileList", ".lumiskFolderFlagPlist", "lost+found",
                           "_XXXQelLumiskinfo_job", "_SSSQelLumiskinfo_job", ".lumisk-0123456789ab", ".Trash-1000"})
    destination.push_back({name, FileType::kUnknown});
  EXPECT_EQ(namesToDelete(NameList(source), NameList(destination)), (std::vector<std::string>{".localized", "A", "b"}));
}

}  // namespace
}  // namespace lumisk::test
