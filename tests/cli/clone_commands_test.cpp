#include <gmock/gmock.h>

#include "command_line_fixture.h"
#include "jobs/job_record.h"

namespace lumisk {
namespace {

using testing::HasSubstr;

class CloneCommands : public test::CommandLineFixture {
 protected:
  // As it is kept, whatever is mounted.
  void storeClone(SchedulingMethod method) {
    QUORVELPREFERENCEINFO job = newJobDefaults(clock_.now());
    confirmNewJob(job, JobType::kClone);
    job.name = "disk";
    job.sourcePaths = {work_ / "docs"};
    job.targetPaths = {work_ / "target"};
    job.scheduling_method = method;
    job.bFormatVolume = true;
    ASSERT_TRUE(UserDefaults(storePath()).change([&](PropertyList::Dictionary& values) {
      values["Qel LumiskSettings"] = PropertyList::Array{jobToDictionary(job)};
      values["Qel Lumisk"] = "Automatic Backup";
    }));
  }
  std::string refusal(const std::vector<std::string>& arguments) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 2) << ::testing::PrintToString(arguments);
    return outcome.err;
  }
  std::string refusedJob(const std::string& type, const std::string& option) {
    return refusal({"job", "add", "x", "--type", type, "--source", "docs", "--target", "target", option});
  }
};

TEST_F(CloneCommands, JobsThatAreNoClones_AreRefused) {
  EXPECT_THAT(refusedJob("clone", "--manual"), HasSubstr("the source is no mounted volume"));
  EXPECT_THAT(refusedJob("clone", "--realtime"), HasSubstr("--realtime"));
  EXPECT_THAT(refusedJob("clone", "--no-trash"), HasSubstr("--no-trash: a clone carries the whole volume"));
  EXPECT_THAT(refusedJob("backup", "--format"), HasSubstr("--format: only a clone takes it"));
  EXPECT_EQ(storedJob(0), PropertyList());
}

TEST_F(CloneCommands, StoredClone_IsShownAsOne) {
  storeClone(SchedulingMethod::kRealTime);
  const std::string shown = done({"job", "show", "disk"}).out;
  EXPECT_THAT(shown, testing::ContainsRegex("schedule +once, when asked to\n"));
  EXPECT_THAT(shown, testing::ContainsRegex("format +yes\n"));
  EXPECT_THAT(shown, testing::Not(HasSubstr("revisions")));
}

// What stands there is no volume, so that nothing is ordered of a helper.
TEST_F(CloneCommands, RunThatIsRefused_SaysWhyAndKeepsTheJob) {
  storeClone(SchedulingMethod::kRealTime);
  EXPECT_THAT(refusal({"run", "disk", "--dry-run"}), HasSubstr("a clone cannot be tried out"));
  const Outcome refused = run({"run", "disk", "--json"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.json()["result"], "error");
  EXPECT_THAT(refused.err, HasSubstr("the source is no mounted volume"));
  EXPECT_NE(storedJob(0), PropertyList());
}

}  // namespace
}  // namespace lumisk
