#include "cli/command_line_fixture.h"

namespace lumisk::test {
namespace {

using BackupCommand = CommandLineFixture;

const Dir kDocs{{"one.txt", File{"one", 0644, 1000}}, {"two.jpg", File{"two", 0644, 1000}}};

TEST_F(BackupCommand, TwoRuns_SecondCopiesNothing) {
  const auto first = done({"backup", "docs", "target"});
  EXPECT_NE(first.out.find("2 copied (6 B)"), std::string::npos) << first.out;
  EXPECT_EQ(first.err, "");
  ExpectTreeExactly(work_ / "target/docs", kDocs);

  const auto second = done({"backup", "--json", "docs", "target"}).json();
  EXPECT_EQ(second["job"], "backup");
  EXPECT_EQ(second["result"], "completed");
  EXPECT_EQ(second["copied"], 0);
  EXPECT_EQ(second["errorCode"], 0);
  for (const char* key : {"entries", "bytes", "deleted", "held", "revisions", "skipped", "seconds"}) {
    EXPECT_TRUE(second.contains(key) && second[key].is_number()) << key;
  }
  EXPECT_FALSE(exists(storePath())) << "a run of no job was stored";
  EXPECT_NE(done({"log", "backup"}).out.find("backup: Synchronization started"), std::string::npos);
}

TEST_F(BackupCommand, MissingTarget_IsMadeAndSaid) {
  const auto outcome = done({"backup", "docs", "target/new/"});
  EXPECT_EQ(outcome.out.rfind("Made the folder " + (work_ / "target/new") + "\n", 0), 0u) << outcome.out;
  ExpectTreeExactly(work_ / "target/new/docs", kDocs);
}

TEST_F(BackupCommand, Filters_LeaveOutAndSaySo) {
  const auto outcome = done({"backup", "--exclude", "JPG,gif", "docs", "target"});
  EXPECT_NE(outcome.out.find("1 left out\nLog: "), std::string::npos) << outcome.out;
  ExpectTreeExactly(work_ / "target/docs", Dir{{"one.txt", File{"one"}}});
}

TEST_F(BackupCommand, DryRun_SaysWhatAndWhyAndChangesNothing) {
  done({"backup", "docs", "target"});
  writeFile(work_ / "docs/three.txt", "3");
  writeFile(work_ / "docs/one.txt", "newer");
  const auto before = treeListing(work_.path());
  const auto homeBefore = treeListing(home_.path());
  const auto outcome = done({"backup", "--dry-run", "--exclude=jpg", "docs", "target"});
  EXPECT_NE(outcome.out.find("copy    " + (work_ / "docs/three.txt") + " (new)\n"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("replace " + (work_ / "docs/one.txt") + " (newer)\n"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("skip    " + (work_ / "docs/two.jpg") + " ("), std::string::npos) << outcome.out;
  EXPECT_EQ(treeListing(work_.path()), before);
  EXPECT_EQ(treeListing(home_.path()), homeBefore);
  EXPECT_EQ(readFile(work_ / "target/docs/one.txt"), "one");

  EXPECT_EQ(run({"backup", "--dry-run", "docs", "target/new"}).status, 2);
  EXPECT_FALSE(exists(work_ / "target/new"));
}

// Names that mean something to the parser, to a terminal or to nobody.
TEST_F(BackupCommand, OddNames_AreOnlyNames) {
  const std::vector<std::string> names = {"[a,b]", "{}",       "++",        "%%", "job", "run",
                                          "a b",   "\xff\xfe", "new\nline", "-x", "--"};
  std::vector<std::string> arguments = {"backup", "--json", "--"};
  Dir expected;
  for (const std::string& name : names) {
    makeTree(work_.path(), {{name, Dir{{"f", File{name}}}}});
    expected.entries.push_back({name, Dir{{"f", File{name}}}});
    arguments.push_back(name);
  }
  arguments.emplace_back("target");
  EXPECT_EQ(done(arguments).json()["copied"], names.size());
  ExpectTreeExactly(work_ / "target", expected);
}

}  // namespace
}  // namespace lumisk::test
