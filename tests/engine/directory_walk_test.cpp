// What a walk carries, what it leaves, and what it says about it.

#include <sys/stat.h>

#include <cerrno>

#include "engine/walk_fixture.h"

namespace lumisk::test {
namespace {

constexpr auto kAlways = FaultyFileCalls::kAlways;

class DirectoryWalkTest : public WalkFixture {};
INSTANTIATE_TEST_SUITE_P(Pace, DirectoryWalkTest, kBothWalkPaces, walkPaceName);

Dir withMetadata(Dir dir, std::uint32_t mode, std::int64_t modified) {
  dir.mode = mode;
  dir.modified = modified;
  return dir;
}

// Every kind of entry that is carried, with names of every kind.
std::vector<std::pair<std::string, Node>> fullTree() {
  return {{"a.txt", File{"text", 0640, 1000, 123'456'789, {{"user.tag", "red"}}}},
          {"empty", File{"", 0600, 1001}},
          {"link", Link{"a.txt"}},
          {"nowhere", Link{"../../nowhere"}},
          {std::string(255, 'n'), File{"long", 0644, 1002}},
          {"\xff\xfe not utf-8\n", File{"bytes", 0644, 1003}},
          {"-rf *", withMetadata(Dir{{"x", File{"x", 0444, 1004}}}, 0555, 2001)},
          {"private", withMetadata(Dir{{"deep", withMetadata(Dir{{"link", Link{"."}}}, 0701, 2002)}}, 0700, 2003)},
          {"hollow", withMetadata(Dir{}, 01777, 2004)}};
}

TEST_P(DirectoryWalkTest, TreeOfEveryKind_IsCarriedWithAllItsMetadata) {
  makeTree(tree / "s", fullTree());
  setModified(tree / "s", 3000, 5);
  const Ran ran = backUp();
  EXPECT_TRUE(ran.walked) << ran.log;
  EXPECT_TRUE(ran.wroteAnything);
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  EXPECT_EQ(ran.counts.copied, 8u);
  EXPECT_EQ(ran.counts.entries, 12u);
  EXPECT_EQ(ran.m_nFileCount, 12u);
  ExpectSameTrees(tree / "s", tree / "t/s");
}

TEST_P(DirectoryWalkTest, SecondRun_CopiesNothingAndMakesNoWritingCall) {
  makeTree(tree / "s", fullTree());
  backUp();
  const int before = writingCalls();
  const Ran ran = backUp();
  EXPECT_EQ(writingCalls(), before);
  EXPECT_FALSE(ran.wroteAnything);
  EXPECT_EQ(ran.counts.copied, 0u);
  EXPECT_EQ(ran.counts.entries, 12u);
  EXPECT_EQ(ran.outcomes.at("s/a.txt"), EntryOutcome::kUnchanged);
}

TEST_P(DirectoryWalkTest, ChangedEntries_FollowTheCopyRule) {
  makeTree(tree / "s", {{"newer", File{"new", 0644, 2000}},
                        {"older", File{"source", 0644, 1000}},
                        {"second", File{"source", 0644, 1001}},
                        {"link", Link{"new"}},
                        {"was-folder", File{"file", 0644, 1000}},
                        {"was-file", Dir{{"x", File{"x"}}}}});
  makeTree(tree / "t", {{"s", Dir{{"newer", File{"old", 0644, 1000}},
                                  {"older", File{"target", 0644, 2000}},
                                  {"second", File{"target", 0644, 1000}},
                                  {"link", Link{"old"}},
                                  {"was-folder", Dir{{"y", File{"y"}}}},
                                  {"was-file", File{"file"}},
                                  {"only-there", File{"stays"}}}}});
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  EXPECT_EQ(ran.counts.copied, 4u);
  EXPECT_EQ(ran.reasons.at("s/newer"), "newer");
  EXPECT_EQ(ran.outcomes.at("s/newer"), EntryOutcome::kReplaced);
  EXPECT_EQ(ran.outcomes.at("s/was-file"), EntryOutcome::kFolderMade);
  ExpectTreeExactly(tree / "t/s", {{"newer", File{"new"}},
                                   {"older", File{"target"}},
                                   {"second", File{"target"}},
                                   {"link", Link{"new"}},
                                   {"was-folder", File{"file"}},
                                   {"was-file", Dir{{"x", File{"x"}}}},
                                   {"only-there", File{"stays"}}});
}

TEST_P(DirectoryWalkTest, FolderOfTheTarget_TakesOverWhatChangedOnItself) {
  makeTree(tree / "s", {{"d", withMetadata(Dir{{"x", File{"x", 0644, 1000}}}, 0750, 2000)}});
  backUp();
  ASSERT_EQ(chmod((tree / "s/d").c_str(), 0711), 0);
  const Ran ran = backUp();
  EXPECT_TRUE(ran.wroteAnything);
  EXPECT_EQ(ran.counts.copied, 0u);
  ExpectSameTrees(tree / "s", tree / "t/s");
}

TEST_P(DirectoryWalkTest, EntriesThatAreNotCopied_AreCountedAndNamed) {
  makeTree(tree / "s", {{".DS_Store", File{"x"}},
                        {".lumisk-0123456789ab", File{"x"}},
                        {"_XXXQelLumiskinfo_a", File{"copied"}},
                        {"fifo", Fifo{}},
                        {".Trash-1000", Dir{{"x", File{"x"}}}},
                        {"lost+found", Dir{}},
                        {"d", Dir{{".Trash-1000", File{"no folder: copied"}}, {"y.qellumiskdat", File{"x"}}}}});
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.skipped, 5u);
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  EXPECT_EQ(ran.outcomes.at("s/fifo"), EntryOutcome::kSkipped);
  EXPECT_EQ(ran.log, "job: don't copy the file \"" + (tree / "s/fifo") + "\"\n this is an unknown type file\n");
  ExpectTreeExactly(tree / "t/s",
                    {{"_XXXQelLumiskinfo_a", File{"copied"}}, {"d", Dir{{".Trash-1000", File{"no folder: copied"}}}}});
}

TEST_P(DirectoryWalkTest, TypeFilter_LeavesPackagesThatAreUnitsWhole) {
  makeTree(tree / "s", {{"a.jpg", File{"x"}},
                        {"a.txt", File{"x"}},
                        {"d", Dir{{"b.JPG", File{"x"}}, {"b.txt", File{"x"}}}},
                        {"p.app", Dir{{"c.txt", File{"x"}}, {"d", Dir{{"e.txt", File{"x"}}}}}},
                        {"q.rtfd", Dir{{"c.jpg", File{"x"}}}},
                        {"z.txt", File{"x"}}});
  const auto filter = [](RunFixture& fixture) {
    fixture.info.inclusionArray = {"jpg", "app"};
    fixture.info.bDealPackage = true;
    fixture.info.nAutoDeletion = 1;
  };
  const Ran ran = backUp(filter);
  ExpectTreeExactly(tree / "t/s", {{"a.jpg", File{"x"}},
                                   {"d", Dir{{"b.JPG", File{"x"}}}},
                                   {"p.app", Dir{{"c.txt", File{"x"}}, {"d", Dir{{"e.txt", File{"x"}}}}}}});
  EXPECT_EQ(ran.counts.skipped, 4u);
  EXPECT_NE(ran.log.find("job: file type filter . . . . . . . . . . . " + (tree / "s/q.rtfd") + "\n"),
            std::string::npos);
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(
      ran.recorded,
      (Pairs{{"s/a.jpg", "t/s/a.jpg"}, {"s/d", "t/s/d"}, {"s/d/b.JPG", "t/s/d/b.JPG"}, {"s/p.app", "t/s/p.app"}}));
}

TEST_P(DirectoryWalkTest, DryRun_ChangesNothingAndForetellsTheRun) {
  makeTree(tree / "s", {{"newer", File{"new", 0644, 2000}},
                        {"same", File{"same", 0644, 1000}},
                        {"link", Link{"x"}},
                        {"d", Dir{{"e", Dir{{"x", File{"x"}}}}}},
                        {"fifo", Fifo{}}});
  makeTree(tree / "t", {{"s", Dir{{"newer", File{"old", 0644, 1000}},
                                  {"same", File{"same", 0644, 1000}},
                                  {".lumisk-0123456789ab", File{"left"}}}}});
  setModified(tree / "t/s", 500);
  const int before = writingCalls();
  const Ran foretold = backUp([](RunFixture& fixture) {
    fixture.run.dryRun = true;
    fixture.run.begin = WallTime::max();
    fixture.info.nAutoDeletion = 1;
  });
  EXPECT_EQ(writingCalls(), before);
  EXPECT_FALSE(foretold.wroteAnything);
  EXPECT_TRUE(foretold.recorded.empty());
  EXPECT_EQ(foretold.outcomes.at("s/d/e/x"), EntryOutcome::kCopied);
  const Ran ran = backUp();
  EXPECT_EQ(foretold.outcomes, ran.outcomes);
  EXPECT_EQ(foretold.reasons, ran.reasons);
  // Also where the target folder is still to be made.
  const Ran elsewhere = backUp(tree / "s", tree / "t/none/s", [](RunFixture& fixture) { fixture.run.dryRun = true; });
  EXPECT_TRUE(elsewhere.walked);
  EXPECT_EQ(elsewhere.outcomes.at("s/same"), EntryOutcome::kCopied);
  EXPECT_FALSE(exists(tree / "t/none"));
}

TEST_P(DirectoryWalkTest, LeftoversOfUnfinishedCopies_AreRemovedOnceTheyAreOld) {
  makeTree(tree / "s", {{"d", Dir{}}});
  makeTree(tree / "t", {{"s", Dir{{"d", Dir{{".lumisk-0123456789ab", File{"left"}},
                                            {".lumisk-0123456789AB", File{"not ours"}},
                                            {".lumisk-aaaaaaaaaaaa", Dir{}},
                                            {".lumisk-ba9876543210", Dir{{"x", File{"somebody's"}}}}}}}}});
  backUp([](RunFixture& fixture) { fixture.run.begin = WallTime{}; });
  EXPECT_TRUE(exists(tree / "t/s/d/.lumisk-0123456789ab"));
  const Ran ran = backUp([](RunFixture& fixture) { fixture.run.begin = WallTime::max(); });
  EXPECT_TRUE(ran.wroteAnything);
  EXPECT_EQ(listing(tree / "t/s/d"), (std::vector<std::string>{".lumisk-0123456789AB", ".lumisk-ba9876543210"}));
}

TEST_P(DirectoryWalkTest, TargetWithCoarseDates_IsNotCopiedAgain) {
  makeTree(tree / "s", {{"a", File{"x", 0644, 1000, 700}}, {"b", File{"x", 0644, 1001, 700}}});
  makeTree(tree / "t", {{"s", Dir{{"a", File{"x", 0644, 1000}}, {"b", File{"x", 0644, 1000}}}}});
  setModified(tree / "s", 3000, 700);
  setModified(tree / "t/s", 3000);
  const auto cutOff = [&] {
    for (const std::string& name : listing(tree / "t/s"))
      if (name.starts_with(".lumisk-")) setModified(tree / ("t/s/" + name), 1'000'000'001);
  };
  files.before(FileCall::kStatusOf, cutOff, {.name = ".lumisk-*", .times = kAlways});
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.copied, 0u);
  EXPECT_FALSE(ran.wroteAnything);
  EXPECT_EQ(files.count(FileCall::kCreateFile), 1);
  files.forgetRules();
  EXPECT_EQ(backUp().counts.copied, 2u);
}

TEST_P(DirectoryWalkTest, Stop_LeavesTheRestAndTheFoldersInOrder) {
  makeTree(tree / "s", {{"d", withMetadata(Dir{{"a", File{"x"}}, {"b", File{"x"}}}, 0755, 1000)}, {"z", File{"x"}}});
  RunFixture* running = nullptr;
  files.before(FileCall::kStatus, [&] { running->cancelled = true; }, {.name = "b"});
  const Ran ran = backUp([&](RunFixture& fixture) { running = &fixture; });
  EXPECT_TRUE(ran.walked);
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  ExpectTreeExactly(tree / "t/s", {{"d", withMetadata(Dir{{"a", File{"x"}}}, 0755, 1000)}});
  EXPECT_FALSE(backUp([](RunFixture& fixture) { fixture.cancelled = true; }).walked);
}

}  // namespace
}  // namespace lumisk::test
