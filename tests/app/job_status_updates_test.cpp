#include "app/job_status_updates.h"

#include "support/fake_clock.h"
#include "support/home_fixture.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

class StatusUpdates : public test::HomeFixture {
 protected:
  StatusUpdates() {
    store.m_currentInfo = newJobDefaults(clock.now());
    store.m_currentInfo.sourcePaths = {"/s"};
    store.m_currentInfo.targetPaths = {"/t"};
    store.m_currentInfo.bFirstCopy = true;
    EXPECT_TRUE(store.addPreferenceInfo(-1));
    clock.advance(std::chrono::minutes(5));
  }
  // As it is on the disk.
  PropertyList job() { return (*readPropertyListFile(defaults.path()))[kJobArrayKey].at(0); }

  test::FakeClock clock;  // 2009-03-03 14:30:05 +0100
  UserDefaults defaults{preferences("store.plist")};
  JobStore store{defaults, clock};
  const std::string now = "2009-03-03 14:35:05 +0100";
};

TEST_F(StatusUpdates, RunThatEndsWell_LeavesItsTimesAndNoFirstCopy) {
  ASSERT_TRUE(setStartJobStatus(store, clock, 0, JobStatus::kRunning, 0));
  EXPECT_EQ(job()[kLastBeginTimeKey].text(), now);
  EXPECT_EQ(job()[kJobStatusKey].integer(), 1);
  EXPECT_EQ(job()[kCancelStatusKey], PropertyList(0));
  EXPECT_EQ(job()[kLastRanTimeKey].text(), "");
  EXPECT_TRUE(job()[kFirstCopyKey].boolean());
  EXPECT_EQ(statusText(job()), "Never Ran");

  clock.advance(std::chrono::seconds(10));
  ASSERT_TRUE(setJobStatus(store, clock, 0, JobStatus::kCompleted, 0));
  ASSERT_TRUE(setLastCompletedBegin(store, 0, now));
  EXPECT_EQ(job()[kJobStatusKey].integer(), 0);
  EXPECT_FALSE(job()[kFirstCopyKey].boolean());
  EXPECT_EQ(job()[kLastBeginTimeKey].text(), now);
  EXPECT_EQ(job()[kLastCompletedBeginKey].text(), now);
  EXPECT_EQ(statusText(job()), "Last Ran\n2009-03-03 14:35:15 +0100");
  EXPECT_EQ(store.jobs().at(0), job());
}

TEST_F(StatusUpdates, RunThatFails_ChangesNeitherLastRunNorFirstCopy) {
  ASSERT_TRUE(setJobStatus(store, clock, 0, JobStatus::kError, 0));
  ASSERT_TRUE(setCancelStatus(store, clock, 0, CancelStatus::kError));
  EXPECT_EQ(job()[kJobStatusKey].integer(), 2);
  EXPECT_EQ(job()[kCancelStatusKey].integer(), 2);
  EXPECT_EQ(job()[kLastRanTimeKey].text(), "");
  EXPECT_TRUE(job()[kFirstCopyKey].boolean());
  ASSERT_TRUE(setCancelStatus(store, clock, 0, CancelStatus::kNone));
  EXPECT_EQ(job()[kLastRanTimeKey].text(), now);
  EXPECT_FALSE(job()[kFirstCopyKey].boolean());
}

TEST_F(StatusUpdates, FlagSetOrNoSuchJobOrBadDate_ChangesNothing) {
  const PropertyList before = job();
  EXPECT_FALSE(setStartJobStatus(store, clock, 0, JobStatus::kRunning, 1));
  EXPECT_FALSE(setJobStatus(store, clock, 0, JobStatus::kError, -1));
  for (const int index : {-1, 1}) {
    EXPECT_FALSE(setStartJobStatus(store, clock, index, JobStatus::kRunning, 0));
    EXPECT_FALSE(setJobStatus(store, clock, index, JobStatus::kError, 0));
    EXPECT_FALSE(setCancelStatus(store, clock, index, CancelStatus::kError));
    EXPECT_FALSE(setLastCompletedBegin(store, index, now));
  }
  EXPECT_FALSE(setLastCompletedBegin(store, 0, "yesterday"));
  EXPECT_EQ(job(), before);
}

TEST(StatusTexts, OfStoredJobs_SayHowTheLastRunEndedAndWhereItGoes) {
  const auto status = [](int cancel) {
    return statusText(Dictionary{{kLastRanTimeKey, "T"}, {kCancelStatusKey, cancel}});
  };
  EXPECT_EQ(status(0) + status(1) + status(2) + status(3), "Last Ran\nTCancel\nTError\nTLast Ran\nT");
  EXPECT_EQ(statusText(Dictionary{{kLastRanTimeKey, "T"}}), "Last Ran\nT");

  Array folders{Dictionary{{kTargetFlagKey, false}}, "/s1", "/t", "/s2", "/t"};
  EXPECT_EQ(sourceColumnText(Dictionary{{kBackupFoldersKey, folders}}), "/s1\n/s2");
  EXPECT_EQ(targetColumnText(Dictionary{{kBackupFoldersKey, folders}}, 1), "/t");
  folders = {Dictionary{{kTargetFlagKey, true}}, "/s1", "/t1", "/s2", "/t2", "/s3", "/t3"};
  EXPECT_EQ(targetColumnText(Dictionary{{kBackupFoldersKey, folders}}, 3), "/t1\n/t2\n/t3");
  EXPECT_EQ(targetColumnText(Dictionary{{kBackupFoldersKey, folders}}, 2), "/t1\n/t2 . . . . . .");
}

}  // namespace
}  // namespace lumisk
