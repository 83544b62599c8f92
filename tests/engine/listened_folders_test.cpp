#include "engine/listened_folders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/own_home.h"

namespace lumisk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Paths = std::vector<std::string>;

TEST(SortedMessagesArrayTest, OuterFoldersStay_InReverse) {
  const std::vector<std::pair<Paths, Paths>> cases{
      {{}, {}},
      {{"/a/", "/b/"}, {"/b/", "/a/"}},
      {{"/a/b/", "/a/", "/a/c/d/"}, {"/a/"}},
      {{"/a/b/", "/a/bc/", "/a/b/c/"}, {"/a/bc/", "/a/b/"}},  // "/a/bc" is not in "/a/b"
      {{"/a/", "/b/", "/a"}, {"/a", "/b/"}},
      {{"/x/", "/"}, {"/"}},
  };
  for (const auto& [given, expected] : cases) EXPECT_EQ(sortedMessagesArray(given), expected);
}

class ListenedFoldersTest : public ::testing::Test {
 protected:
  ListenedFoldersTest() {
    job.sourcePaths = {"/s/docs", "/s/note.txt"};
    job.targetPaths = {"/t"};
  }
  std::vector<ListenedPlace> places{{"/s/docs", "/t/docs", true}, {"/s/note.txt", "/t/note.txt", false}};
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart job;
};

TEST_F(ListenedFoldersTest, WhatIsWatched) {
  EXPECT_THAT(sortTheListenningArray(places, JobType::kBackup),
              ElementsAre(WatchedRoot{"/s/docs", true}, WatchedRoot{"/s", false}));
  EXPECT_THAT(sortTheListenningArray(places, JobType::kSyncWithRevisions),
              ElementsAre(WatchedRoot{"/s/docs", true}, WatchedRoot{"/s", false}, WatchedRoot{"/t/docs", true},
                          WatchedRoot{"/t", false}));
  EXPECT_THAT(sortTheListenningArray({{"/a/f", "/t/f", false}, {"/a", "/t/a", true}}, JobType::kBackup),
              ElementsAre(WatchedRoot{"/a", true}));
}

TEST_F(ListenedFoldersTest, WhatBelongsToTheJob) {
  struct Case {
    const char* folder;
    bool ofBackup, ofSync;
  };
  for (const Case& one : {Case{"/s/docs/", true, true}, Case{"/s/", true, true}, Case{"/s/docs/a/b/", true, true},
                          Case{"/s/docsmore/", false, false}, Case{"/other/", false, false}, Case{"/t/", false, true},
                          Case{"/t/docs/a/", true, true}, Case{"/t/Revision/", false, false},
                          Case{"/t/Revision/docs/", false, false}, Case{"/t/Revisions/", true, true}}) {
    job.jobType = JobType::kBackup;
    EXPECT_EQ(checkListenedDirectory(one.folder, job), one.ofBackup) << one.folder;
    job.jobType = JobType::kSyncWithConflicts;
    EXPECT_EQ(checkListenedDirectory(one.folder, job), one.ofSync) << one.folder;
  }
}

TEST_F(ListenedFoldersTest, WhatAPassLooksAt) {
  const auto parts = [&](const Paths& folders, JobType type, bool dealsPackages = false) {
    return createSourceArrayFromListenedDir(folders, places, type, dealsPackages);
  };
  const JobType backup = JobType::kBackup, sync = JobType::kSyncWithRevisions;
  EXPECT_THAT(parts({"/s/docs/a/b/", "/s/docs/c/"}, backup),
              UnorderedElementsAre(ListenedPart{0, "a/b"}, ListenedPart{0, "c"}));
  EXPECT_THAT(parts({"/s/docs/a/b/", "/s/docs/a/"}, backup), ElementsAre(ListenedPart{0, "a"}));
  EXPECT_THAT(parts({"/s/docs/"}, backup), ElementsAre(ListenedPart{0, ""}));
  EXPECT_THAT(parts({"/s/"}, backup), UnorderedElementsAre(ListenedPart{0, ""}, ListenedPart{1, ""}));
  EXPECT_THAT(parts({"/t/docs/a/"}, backup), IsEmpty());
  EXPECT_THAT(parts({"/t/docs/a/", "/s/docs/a/"}, sync), ElementsAre(ListenedPart{0, "a"}));
  EXPECT_THAT(parts({"/s/docs/x/.Trash-1000/y/"}, backup), IsEmpty());
  EXPECT_THAT(parts({"/s/docs/x/My.app/in/"}, backup, true), ElementsAre(ListenedPart{0, "x"}));
  EXPECT_THAT(parts({"/s/docs/x/My.app/in/"}, backup), ElementsAre(ListenedPart{0, "x/My.app/in"}));
}

TEST_F(ListenedFoldersTest, SingleFilesAndDestinations) {
  EXPECT_THAT(isAsigleFileChangedAtPath("/s/", places, JobType::kBackup), ElementsAre(1U));
  EXPECT_THAT(isAsigleFileChangedAtPath("/s/docs/", places, JobType::kBackup), IsEmpty());
  EXPECT_THAT(isAsigleFileChangedAtPath("/t/", places, JobType::kSyncWithRevisions), ElementsAre(1U));
  EXPECT_THAT(isAsigleFileChangedAtPath("/s/", places, JobType::kSyncWithConflicts), IsEmpty());
  EXPECT_EQ(createDestinationStringForFSEvent("/s/docs/a/b/", job.sourcePaths), "docs/a/b");
  EXPECT_EQ(createDestinationStringForFSEvent("/s/docs", job.sourcePaths), "docs");
  EXPECT_EQ(createDestinationStringForFSEvent("/s/docsmore", job.sourcePaths), std::nullopt);
}

TEST_F(ListenedFoldersTest, OwnFiles_AreNoEvents) {
  EXPECT_TRUE(isIgnoredEvent("/t", "/t/docs", ".lumisk-0123456789ab"));
  EXPECT_TRUE(isIgnoredEvent("/t", "/s/docs", ".lumiskFileList"));
  EXPECT_TRUE(isIgnoredEvent("/t", "/t", "_SSSQelLumiskinfo_job"));
  EXPECT_TRUE(isIgnoredEvent("/t", "/t", "Revision"));
  EXPECT_FALSE(isIgnoredEvent("/t", "/s/docs", "Revision"));
  EXPECT_FALSE(isIgnoredEvent("/t", "/s/docs", "a.txt"));
}

TEST(HomeTrash, IsListenedToNowhere) {
  const OwnHome home("/s/anna");
  const std::vector<ListenedPlace> places{{"/s", "/t/s"}};
  for (const char* folder : {"/s/anna/.local/share/Trash", "/s/anna/.local/share/Trash/files/"}) {
    EXPECT_TRUE(isIgnoredEvent("/t", folder, "a.txt"));
    EXPECT_TRUE(createSourceArrayFromListenedDir({folder}, places, JobType::kBackup, false).empty());
  }
  EXPECT_TRUE(isIgnoredEvent("/t", "/s/anna/.local/share", "Trash"));
  EXPECT_FALSE(isIgnoredEvent("/t", "/s/anna", "Trash"));
  EXPECT_EQ(createSourceArrayFromListenedDir({"/s/anna/Trash"}, places, JobType::kBackup, false).size(), 1U);
}

}  // namespace
}  // namespace lumisk::test
