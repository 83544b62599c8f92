#include "schedule/job_health.h"

#include <gtest/gtest.h>

#include "jobs/job_record.h"
#include "support/home_fixture.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

WallTime march(int day, int hour, int minute = 0) {
  return CalendarDate::fromLocal(2009, 3, day, hour, minute, 0).time();
}

class JobHealth : public ::testing::Test {
 protected:
  JobHealth() {
    job.sourcePaths = {"/home/anna/documents"};
    job.scheduling_method = SchedulingMethod::kWeekDays;
    job.scheduling_weekFlag[2] = true;  // Tuesdays: 2009-03-03, 2009-03-10
    job.scheduling_date = CalendarDate::fromLocal(2009, 1, 1, 9, 30, 0);
    job.jobModifyTime = storedDate(march(1, 8));
  }
  std::string missed(WallTime now) const {
    const auto moment = missedRun(jobToDictionary(job), now);
    return moment ? missedText(*moment) : "";
  }
  std::string overdueAt(WallTime now) const {
    const auto found = overdue(jobToDictionary(job), now);
    return found ? overdueText(*found) : "";
  }
  std::string waiting(const std::string& target) {
    job.targetPaths = {target};
    return waitingFor(jobToDictionary(job), around).value_or("");
  }
  void completedAt(WallTime begin) { job.otherKeys[kLastCompletedBeginKey] = storedDate(begin); }

  test::ScopedVariable zone_{"TZ", "Europe/Berlin"};
  QUORVELPREFERENCEINFO job;
  Surroundings around{{{"/", "ext4", "/dev/sda1"}, {"/media/anna/There", "vfat", "/dev/sdb1"}},
                      "anna",
                      [](const std::string& path) { return path == "/home/anna/standing"; }};
};

TEST_F(JobHealth, WeekDay_MissedUntilTheNextRunBegins) {
  EXPECT_EQ(missed(march(3, 9, 31)), "");
  EXPECT_EQ(missed(march(3, 9, 32)), "missed at 2009-03-03 09:30");
  EXPECT_EQ(missed(march(10, 9, 31)), "missed at 2009-03-03 09:30");
  EXPECT_EQ(missed(march(10, 9, 32)), "missed at 2009-03-10 09:30");
  job.lastBeginTime = storedDate(march(3, 9, 29));
  EXPECT_EQ(missed(march(4, 0)), "missed at 2009-03-03 09:30");
  job.lastBeginTime = storedDate(march(3, 9, 30));
  EXPECT_EQ(missed(march(4, 0)), "");
}

TEST_F(JobHealth, WeekDay_NotMissedBeforeItsTimeOrWhenNotActive) {
  EXPECT_EQ(missed(march(2, 12)), "");
  job.jobModifyTime = storedDate(march(3, 10));
  EXPECT_EQ(missed(march(4, 0)), "");
  EXPECT_EQ(missed(march(11, 0)), "missed at 2009-03-10 09:30");
  job.bActive = false;
  EXPECT_EQ(missed(march(11, 0)), "");
  job.bActive = true;
  job.scheduling_weekFlag.fill(false);
  EXPECT_EQ(missed(march(11, 0)), "");
}

TEST_F(JobHealth, Overdue_AfterSevenDaysOrThreePeriods) {
  EXPECT_EQ(overdueAt(march(8, 8)), "");
  EXPECT_EQ(overdueAt(march(8, 9)), "never completed");
  completedAt(march(1, 12));
  EXPECT_EQ(overdueAt(march(8, 12)), "");
  EXPECT_EQ(overdueAt(march(10, 13)), "last completed 9 days ago");
  job.scheduling_method = SchedulingMethod::kTimer;
  job.scheduling_timer = 1;
  job.scheduling_timerUnit = TimerUnit::kHours;
  EXPECT_EQ(overdueAt(march(1, 15)), "");
  EXPECT_EQ(overdueAt(march(1, 15, 1)), "last completed 3 hours ago");
  EXPECT_EQ(overdueAt(march(1, 11)), "") << "the clock was set back";
  job.scheduling_method = SchedulingMethod::kNone;
  EXPECT_EQ(overdueAt(march(31, 0)), "");
}

TEST_F(JobHealth, WaitingFor_TheVolumeThatIsNotMounted) {
  EXPECT_EQ(waiting("/media/anna/Stick/backup"), "Stick");
  EXPECT_EQ(waiting("/run/media/anna/Stick"), "Stick");
  EXPECT_EQ(waiting("/media/Disk/backup"), "Disk");
  EXPECT_EQ(waiting("/mnt/nas/a/b"), "nas");
  EXPECT_EQ(waiting("/Volumes/Backup/a"), "Backup");
  EXPECT_EQ(waiting("/media/anna/There/gone"), "") << "the volume is there, its folder is not";
  EXPECT_EQ(waiting("/home/anna/gone"), "");
  EXPECT_EQ(waiting("/home/anna/standing"), "");
  job.dmgPath = "/media/anna/Stick/image.dmg";
  EXPECT_EQ(waiting("/Volumes/image"), "Stick");
  EXPECT_EQ(waitingText("St\nick"), "waiting for St\\x0Aick");
}

}  // namespace
}  // namespace lumisk
