#include "cli/job_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "jobs/job_record.h"
#include "support/fake_clock.h"

namespace lumisk::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class JobStatusTexts : public ::testing::Test {
 protected:
  JobState job(const std::string& name) {
    QUORVELPREFERENCEINFO record;
    record.name = name;
    record.uuidString = "U-" + name;
    record.scheduling_method = SchedulingMethod::kNone;
    record.lastRanTime = "2009-03-03 13:00:00 +0000";
    JobState state;
    state.job = jobToDictionary(record);
    return state;
  }
  std::string table(const JobState& state) { return statusTable({instanceRuns, {state}}, clock.now()); }
  nlohmann::json json(const JobState& state) {
    return nlohmann::json::parse(statusJson({instanceRuns, {state}}, clock.now()))["jobs"][0];
  }

  FakeClock clock;
  bool instanceRuns = true;
};

TEST_F(JobStatusTexts, Running_ShowsHowFar) {
  JobState state = job("j\x1b");
  state.running = true;
  EXPECT_THAT(table(state), HasSubstr("j\\x1B  running  by hand\n"));
  state.progress = JobProgressMessage::messageWithJobName("j", "a\nb", 100, 50);
  state.progress->bytes = 7;
  EXPECT_THAT(table(state), HasSubstr("running, 99%, a\\x0Ab"));
  EXPECT_EQ(json(state)["progress"]["bytes"], 7);
  EXPECT_EQ(json(state)["completed"], false);
}

TEST_F(JobStatusTexts, WhatIsNotWell_IsSaidBesideTheState) {
  JobState state = job("j");
  EXPECT_THAT(table(state), HasSubstr("Last Ran 2009-03-03 13:00:00 +0000  by hand\n"));
  EXPECT_TRUE(json(state)["missed"].is_null() && json(state)["waitingFor"].is_null());
  state.waitingFor = "Backup";
  state.missed = clock.now();
  state.overdue = Overdue{std::chrono::hours(9 * 24), true};
  EXPECT_THAT(table(state), HasSubstr("waiting for Backup  by hand  missed at 2009-03-03 "));
  EXPECT_THAT(table(state), HasSubstr("; last completed 9 days ago\n"));
  EXPECT_EQ(json(state)["overdue"], true);
  EXPECT_EQ(json(state)["waitingFor"], "Backup");
}

TEST_F(JobStatusTexts, StartedAndNotFinished_IsBelievedWhereTheInstanceCannotKnow) {
  JobState state = job("j");
  PropertyList::Dictionary& stored = state.job.mutableDictionary();
  stored[kJobStatusKey] = 1;
  stored[kLastBeginTimeKey] = stored[kLastCompletedBeginKey] = "2009-03-03 13:00:00 +0000";
  EXPECT_THAT(table(state), Not(HasSubstr("not finished"))) << "the instance does not run it";
  EXPECT_EQ(json(state)["completed"], true);
  stored[kActiveKey] = false;
  EXPECT_THAT(table(state), HasSubstr("not finished"));
  stored[kActiveKey] = true;
  instanceRuns = false;
  EXPECT_THAT(table(state), HasSubstr("not finished"));
  EXPECT_THAT(table(state), HasSubstr("Not running: jobs run only while `lumisk daemon` runs"));
}

}  // namespace
}  // namespace lumisk::test
