#include "cli/command_line_fixture.h"

namespace lumisk::test {
namespace {

using CommandLine = CommandLineFixture;

TEST_F(CommandLine, Help_ListsCommandsAndExitStatuses) {
  const auto help = done({"--help"});
  for (const char* text : {"backup", "job", "run", "log", "Exit status:", "130  cancelled by the user"}) {
    EXPECT_NE(help.out.find(text), std::string::npos) << text << " is missing in\n" << help.out;
  }
  EXPECT_NE(done({"job", "add", "--help"}).out.find("--weekdays"), std::string::npos);
  EXPECT_EQ(done({"--version"}).out.rfind("lumisk 0.", 0), 0u);
}

TEST_F(CommandLine, Alone_ShowsTheJobs) {
  EXPECT_NE(done({}).out.find("No jobs"), std::string::npos);
  done({"job", "add", "letters", "--source", "docs", "--target", "target", "--every", "3h"});
  EXPECT_NE(done({}).out.find("letters  backup  Never Ran  "), std::string::npos) << done({}).out;
}

struct Bad {
  int status;
  const char* pattern;  // of the error
  std::vector<std::string> arguments;
};

std::vector<std::string> add(std::vector<std::string> rest) {
  rest.insert(rest.begin(), {"job", "add"});
  return rest;
}

TEST_F(CommandLine, BadInput_OneClearLineAndNothingChanged) {
  done({"job", "add", "kept", "--source", "docs", "--target", "target", "--manual"});
  const std::vector<Bad> table = {
      {2, "nonsense", {"nonsense"}},
      {2, "--nonsense", {"backup", "--nonsense", "docs", "target"}},
      {2, "PATHS", {"backup", "docs"}},
      {2, "--trash", {"backup", "--trash", "--no-trash", "docs", "target"}},
      {2, "nowhere: the source does not exist", {"backup", "nowhere", "target"}},
      {2, "file: the target is not a folder", {"backup", "docs", "file"}},
      {2, "neither the target nor", {"backup", "docs", "nowhere/target"}},
      {2, "empty", {"backup", "", "target"}},
      {2, "same", {"backup", "docs", "more/docs", "target"}},
      {2, "inside", {"backup", ".", "target"}},
      {2, "gentle or full", {"backup", "--pace", "fast", "docs", "target"}},
      {2, "name", add({"", "--source", "docs", "--target", "target"})},
      {2, "a/b", add({"a/b", "--source", "docs", "--target", "target"})},
      {2, "kept: a job of this name exists", add({"kept", "--source", "docs", "--target", "more"})},
      {2, "--source", add({"x", "--target", "target"})},
      {2, "clone", add({"x", "--source", "docs", "--target", "target", "--type", "mirror"})},
      {2, "does not exist", add({"x", "--source", "docs", "--target", "missing"})},
      {2, "does not exist", add({"x", "--source", "missing", "--target", "target"})},
      {2, "--every 0m: give a number", add({"x", "--source", "docs", "--target", "target", "--every", "0m"})},
      {2, "--at", add({"x", "--source", "docs", "--target", "target", "--weekdays", "mon"})},
      {2, "--weekdays", add({"x", "--source", "docs", "--target", "target", "--at", "12:00"})},
      {2, "--at 25:00", add({"x", "--source", "docs", "--target", "target", "--weekdays", "mon", "--at", "25:00"})},
      {2, "--manual", add({"x", "--source", "docs", "--target", "target", "--every", "3h", "--manual"})},
      {2, "full", add({"x", "--source", "docs", "--target", "target", "--type", "sync", "--full-path"})},
      {2, "kept: nothing to change", {"job", "edit", "kept"}},
      {2, "does not exist", {"job", "edit", "kept", "--source", "missing"}},
      {2, "same folder", {"job", "edit", "kept", "--target", "docs"}},
      {2, "--at", {"job", "edit", "kept", "--at", "12:00"}},
      {2, "", {"job", "rename", "kept", "a/b"}},
      {2, "a/b", {"log", "a/b"}},
      {2, "", {"job"}},
      {3, "none: no such job", {"run", "none"}},
      {3, "none: no such job", {"job", "show", "none"}},
      {3, "none: no such job", {"job", "edit", "none", "--manual"}},
      {3, "none: no such job", {"job", "rename", "none", "other"}},
      {3, "none: no such job", {"job", "remove", "none"}},
      {3, "none: no such job", {"job", "enable", "none"}},
      {3, "none: no such job", {"log", "none"}},
  };
  const std::string store = readFile(storePath());
  const auto tree = treeListing(work_.path());
  for (const Bad& bad : table) {
    const auto outcome = run(bad.arguments);
    const std::string what = ::testing::PrintToString(bad.arguments) + "\n" + outcome.err;
    EXPECT_EQ(outcome.status, bad.status) << what;
    EXPECT_EQ(outcome.err.rfind("lumisk: ", 0), 0u) << what;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << what;
    EXPECT_NE(outcome.err.find(bad.pattern), std::string::npos) << what;
    EXPECT_EQ(outcome.out, "") << what;
  }
  EXPECT_EQ(readFile(storePath()), store);
  EXPECT_EQ(treeListing(work_.path()), tree);
}

TEST_F(CommandLine, WorkingFolderGone_RelativePathsAreRefused) {
  std::ostringstream out, err;
  CommandIo io{out, err, clock_, realFileCalls(), loop_, ""};
  EXPECT_EQ(runCommandLine({"backup", "docs", work_ / "target"}, io), 2);
  EXPECT_EQ(runCommandLine({"backup", work_ / "docs", work_ / "target"}, io), 0) << err.str();
}

TEST_F(CommandLine, StoreHeldByAnother_WaitsFiveSecondsThenStatus4) {
  done({"job", "add", "docs", "--source", "docs", "--target", "target"});
  const std::string before = readFile(storePath());
  UserDefaults other(storePath());
  const auto held = other.own();
  ASSERT_TRUE(held);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"job", "remove", "docs"}, {"job", "edit", "docs", "--manual"}, {"run", "docs"}}) {
    const auto begin = clock_.passed();
    EXPECT_EQ(run(arguments).status, 4) << arguments.at(1);
    EXPECT_EQ(clock_.passed() - begin, std::chrono::seconds(5));
  }
  EXPECT_EQ(done({"job", "list", "--json"}).json().size(), 1u) << "reading needs no ownership";
  EXPECT_EQ(readFile(storePath()), before);
  EXPECT_EQ(listing(work_ / "target").size(), 0u);
}

TEST_F(CommandLine, StoreHeldForAMoment_IsWaitedFor) {
  done({"job", "add", "docs", "--source", "docs", "--target", "target"});
  UserDefaults other(storePath());
  auto held = other.own();
  ASSERT_TRUE(held);
  clock_.onSleep = [&] {
    if (clock_.sleeps > 3) held = fail("", "", 0);
  };
  done({"job", "disable", "docs"});
}

TEST_F(CommandLine, UnreadableStore_FailsAndStaysAsItIs) {
  makeTree(home_.path(), {{"Library", Dir{{"Preferences", Dir{{"com.qelcorporation.lumisk.plist", Dir{}}}}}}});
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"job", "list"}, {"job", "add", "docs", "--source", "docs", "--target", "target"}}) {
    const auto outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.rfind("lumisk: ", 0), 0u) << outcome.err;
  }
  EXPECT_TRUE(listing(storePath()).empty());
}

}  // namespace
}  // namespace lumisk::test
