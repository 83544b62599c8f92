#include "engine/version_catalog.h"

#include "engine/old_copies.h"
#include "engine/tagged_name.h"
#include "platform/paths.h"
#include "platform/trash_info.h"
#include "support/home_fixture.h"

namespace lumisk::test {
namespace {

using ::testing::ElementsAre;

PropertyList storedJob(JobType type, const std::string& source, const std::string& target) {
  QUORVELPREFERENCEINFO job = newJobDefaults(WallTime{});
  job.name = "job";
  job.jobType = type;
  job.sourcePaths = {source};
  job.targetPaths = {target};
  return jobToDictionary(job);
}

TEST(VersionPlaces, VersionPlaces_PathOfAStoredJob_IsMappedByWholeComponentsInBothDirections) {
  const auto copyOf = [](PropertyList job, const std::string& path) {
    const auto places = versionPlaces({std::move(job)}, path, {"now", "Now"});
    return places.size() == 1 ? places.front().original + " " + places.front().copy : std::to_string(places.size());
  };
  const auto backup = storedJob(JobType::kBackup, "/s/docs", "/t");
  EXPECT_EQ(copyOf(backup, "/s/docs/a/b"), "/s/docs/a/b /t/docs/a/b");
  EXPECT_EQ(copyOf(backup, "/s/docs"), "/s/docs /t/docs");
  EXPECT_EQ(copyOf(backup, "/t/docs/a"), "/s/docs/a /t/docs/a");
  EXPECT_EQ(copyOf(backup, "/s/docs2/a"), "0");
  EXPECT_EQ(copyOf(backup, "/t/other"), "0");
  const auto sync = storedJob(JobType::kSyncWithConflicts, "/s/docs", "/t");
  EXPECT_EQ(copyOf(sync, "/s/docs/a"), "/s/docs/a /t/a");
  EXPECT_EQ(copyOf(sync, "/t/Revision/a"), "0");
  auto full = storedJob(JobType::kBackup, "/s/docs", "/t").dictionary();
  full[kRetainFullPathKey] = PropertyList(true);
  EXPECT_EQ(copyOf(PropertyList(full), "/s/docs/a"), "/s/docs/a /t/now/Volumes/Now/s/docs/a");
  full[kComputerNameKey] = PropertyList(std::string("host"));
  full[kRootDisplayNameKey] = PropertyList(std::string("Root"));
  EXPECT_EQ(copyOf(PropertyList(full), "/s/docs/a"), "/s/docs/a /t/host/Volumes/Root/s/docs/a");
}

TEST(VersionPlaces, VersionPlaces_JobWithATargetForEachSource_UsesTheSourcesOwn) {
  QUORVELPREFERENCEINFO job = newJobDefaults(WallTime{});
  job.bMultipleTargetFolder = true;
  job.sourcePaths = {"/a", "/b"};
  job.targetPaths = {"/t1", "/t2"};
  const auto places = versionPlaces({jobToDictionary(job), PropertyList("no job")}, "/b/f", {});
  ASSERT_EQ(places.size(), 1U);
  EXPECT_EQ(places.front().copy, "/t2/b/f");
  EXPECT_EQ(places.front().firstTarget, "/t1");
}

TEST(VersionCatalog, RevisionNumber_NameWithTags_CountsOnlyTheLastOne) {
  const std::string longName = std::string(250, 'x') + ".text";
  EXPECT_EQ(revisionNumber(revisionName("a.txt", 12), "a.txt"), 12);
  EXPECT_EQ(revisionNumber(revisionName(longName, 3), longName), 3);
  EXPECT_EQ(revisionNumber(revisionName(std::string(250, 'y') + ".text", 3), longName), 0);
  const std::string tagged = "a(Qel Lumisk 2).txt";
  EXPECT_EQ(revisionNumber(revisionName(tagged, 5), tagged), 5);
  EXPECT_EQ(revisionNumber(tagged, "a.txt"), 2);
  EXPECT_EQ(revisionNumber(revisionName(tagged, 5), "a.txt"), 0);
  EXPECT_EQ(revisionNumber("a(Qel Lumisk 02).txt", "a.txt"), 0);
  EXPECT_EQ(revisionNumber("a(Qel Lumisk 99999999999999).txt", "a.txt"), 0);
}

class VersionCatalogTest : public HomeFixture {
 protected:
  // Kinds and texts, newest first.
  std::vector<std::string> found(const std::string& path, JobType type = JobType::kBackup) {
    known = findVersions(realFileCalls(), versionPlaces({storedJob(type, tree / "docs", tree / "t")}, tree / path, {}));
    std::vector<std::string> texts;
    for (const Version& version : known.versions) {
      const std::string kind(1, "CROTS"[static_cast<int>(version.kind)]);
      texts.push_back(kind + " " + (version.status.type == FileType::kFolder ? "/" : readFile(version.path)));
    }
    return texts;
  }
  void trash(const std::string& name, const std::string& original, const Node& node) {
    makeTree(home / ".local/share/Trash/files", {{name, node}});
    writeFile(home / (".local/share/Trash/info/" + name + ".trashinfo"), trash_info::text(original, WallTime{}));
  }

  TempTree tree{{"docs", Dir{}}, {"t", Dir{{"docs", Dir{}}, {"Revision", Dir{{"docs", Dir{}}}}}}};
  KnownVersions known;

 private:
  void SetUp() override {
    unsetenv("XDG_DATA_HOME");
    makeTree(home.path(), {{".local", Dir{{"share", Dir{{"Trash", Dir{{"files", Dir{}}, {"info", Dir{}}}}}}}}});
  }
};

TEST_F(VersionCatalogTest, FindVersions_Revisions_AreOrderedByDateAndFoundBeyondGaps) {
  const std::string name = std::string(251, 'n') + "\xff.c";
  makeTree(tree / "t/docs", {{name, File{"now", 0644, 400}}});
  makeTree(tree / "t/Revision/docs", {{revisionName(name, 1), File{"one", 0644, 100}},
                                      {revisionName(name, 4), File{"four", 0644, 200}},
                                      {revisionName(name, 3), File{"three", 0644, 300}},
                                      {revisionName("other", 1), File{"other", 0644, 300}}});
  EXPECT_THAT(found("docs/" + name), ElementsAre("C now", "R three", "R four", "R one"));
  EXPECT_EQ(known.versions.at(2).revision, 4);
  EXPECT_TRUE(known.problems.empty());
}

TEST_F(VersionCatalogTest, FindVersions_OldCopies_AreVersionsOnlyInJobsThatMakeThem) {
  makeTree(tree / "docs", {{"a(OLD).txt", File{"kept", 0644, 100}}, {"a(OLD)(OLD).txt", File{"older", 0644, 50}}});
  makeTree(tree / "t/docs", {{"a(OLD).txt", File{"own file", 0644, 100}}});
  EXPECT_THAT(found("docs/a.txt", JobType::kSyncWithConflicts), ElementsAre("O kept"));
  EXPECT_THAT(found("docs/a(OLD).txt", JobType::kSyncWithConflicts), ElementsAre("O older"));
  EXPECT_THAT(found("docs/a.txt"), ElementsAre());
}

TEST_F(VersionCatalogTest, FindVersions_TrashEntries_CountOnlyWhenTheyWereThatPathOrHeldIt) {
  trash("a.txt", tree / "docs/a.txt", File{"from the source", 0644, 300});
  trash("a.2.txt", tree / "t/docs/a.txt", File{"from the target", 0644, 200});
  trash("a.3.txt", tree / "docs/sub/a.txt", File{"another file of the name"});
  trash("docs", tree / "docs", Dir{{"a.txt", File{"in its folder", 0644, 100}}});
  trash("docs2", tree / "doc", Dir{{"s", Dir{{"a.txt", File{"no"}}}}});
  trash("link", tree / "docs", Link{tree / "t"});
  writeFile(home / ".local/share/Trash/info/gone.trashinfo", trash_info::text(tree / "docs/a.txt", WallTime{}));
  writeFile(home / ".local/share/Trash/info/damaged.trashinfo", "[Trash Info]\nPath\n=\n%");
  EXPECT_THAT(found("docs/a.txt"), ElementsAre("T from the source", "T from the target", "T in its folder"));
  EXPECT_TRUE(known.versions.at(0).deleted);
}

TEST_F(VersionCatalogTest, FindVersions_PathInATarget_HasTheSourcesFileToo) {
  makeTree(tree / "docs", {{"a.txt", File{"source", 0644, 300}}});
  EXPECT_THAT(found("t/docs/a.txt"), ElementsAre("S source"));
  EXPECT_THAT(found("docs/a.txt"), ElementsAre());
}

TEST_F(VersionCatalogTest, FindVersions_TargetThatIsAway_IsAProblemSaidOnce) {
  const auto places = versionPlaces({storedJob(JobType::kBackup, tree / "docs", tree / "away")}, tree / "docs/a", {});
  known = findVersions(realFileCalls(), places);
  ASSERT_EQ(known.problems.size(), 1U);
  EXPECT_EQ(known.problems.front().path, tree / "away");
}

TEST(TrashInfo, Parse_RecordsOfAnyBytes_AreReadBack) {
  ScopedVariable zone("TZ", "CET-1");
  const WallTime when{std::chrono::seconds(1'236'087'005)};
  const auto record = trash_info::parse(trash_info::text("/50% \xff\n\xc3\xa9", when));
  ASSERT_TRUE(record);
  EXPECT_EQ(record->path, "/50% \xff\n\xc3\xa9");
  EXPECT_EQ(record->deleted, when);
  EXPECT_FALSE(trash_info::parse("[Trash Info]\nDeletionDate=2009-03-03T13:30:05\n"));
  const auto odd = trash_info::parse("Path=a%4%zz%\nPath=b\nDeletionDate=yesterday");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->path, "a%4%zz%");
  EXPECT_FALSE(odd->deleted);
}

}  // namespace
}  // namespace lumisk::test
