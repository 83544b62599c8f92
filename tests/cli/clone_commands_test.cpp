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

// Also while the volumes are away; a clone counts in hours where nothing else is said.
TEST_F(CloneCommands, StoredClone_CanBeGivenOtherTimes) {
  storeClone(SchedulingMethod::kNone);
  done({"job", "edit", "disk", "--every", "2d", "--verify"});
  QUORVELPREFERENCEINFO job;
  ASSERT_TRUE(jobFromDictionary(storedJob(0), job));
  EXPECT_EQ(job.scheduling_timerUnit, TimerUnit::kDays);
  EXPECT_TRUE(job.otherKeys[kVerifyCloneKey].boolean());
  EXPECT_THAT(refusal({"job", "edit", "disk", "--target", "more"}), HasSubstr("no mounted volume"));
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
