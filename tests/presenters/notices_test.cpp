#include "presenters/notices.h"

#include "jobs/job_keys.h"
#include "platform/calendar_date.h"
#include "support/fake_clock.h"

namespace lumisk::test {
namespace {

using namespace std::chrono_literals;

class NoticeRulesTest : public ::testing::Test {
 protected:
  BoardJob job(const std::string& name) {
    QUORVELPREFERENCEINFO info = newJobDefaults(clock.now());
    info.name = name;
    info.uuidString = "uuid-" + name;
    info.scheduling_method = SchedulingMethod::kTimer;
    info.scheduling_timer = 1;
    info.scheduling_timerUnit = TimerUnit::kDays;
    return {info.uuidString, jobToDictionary(info), false, {}};
  }
  static void set(BoardJob& job, CancelStatus status) {
    job.stored.mutableDictionary()[kCancelStatusKey] = static_cast<std::int32_t>(status);
  }
  void complete(BoardJob& job) {
    job.stored.mutableDictionary()[kLastCompletedBeginKey] = storedDate(clock.now());
    set(job, CancelStatus::kNone);
  }
  std::vector<std::string> look(const std::vector<BoardJob>& jobs) {
    std::vector<std::string> titles;
    for (const DesktopNotice& notice : rules.look(jobs, clock.now())) titles.push_back(notice.title);
    return titles;
  }
  FakeClock clock;
  NoticeRules rules;
};

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(NoticeRulesTest, FailedRuns_AreToldOnceUntilOneCompletes) {
  auto a = job("a"), old = job("old");
  set(old, CancelStatus::kError);
  EXPECT_THAT(look({a, old}), IsEmpty());
  set(a, CancelStatus::kError);
  EXPECT_THAT(look({a, old}), ElementsAre("“a” could not finish"));
  a.running = true;
  set(a, CancelStatus::kNone);
  EXPECT_THAT(look({a, old}), IsEmpty());
  a.running = false;
  EXPECT_THAT(look({a, old}), IsEmpty());  // its end is told before its error
  set(a, CancelStatus::kError);
  EXPECT_THAT(look({a, old}), IsEmpty());
  complete(a);
  EXPECT_THAT(look({a, old}), IsEmpty());
  EXPECT_THAT(rules.completedJobs(), ElementsAre("a"));
  set(a, CancelStatus::kError);
  EXPECT_THAT(look({a, old}), ElementsAre("“a” could not finish"));
  EXPECT_THAT(rules.completedJobs(), IsEmpty());
  EXPECT_EQ(NoticeRules::jobOf("failed uuid-a"), "uuid-a");
}

TEST_F(NoticeRulesTest, OverdueJob_IsToldOnceUntilItCompletes) {
  auto a = job("a");
  complete(a);
  EXPECT_THAT(look({a}), IsEmpty());
  clock.advance(96h);
  const auto notices = rules.look({a}, clock.now());
  ASSERT_EQ(notices.size(), 1U);
  EXPECT_EQ(notices.front().body, "Its last complete run was 4 days ago.");
  clock.advance(24h);
  EXPECT_THAT(look({a}), IsEmpty());
  complete(a);
  EXPECT_THAT(look({a}), IsEmpty());
  clock.advance(96h);
  EXPECT_THAT(look({a}), ElementsAre("“a” has not completed for too long"));
}

}  // namespace
}  // namespace lumisk::test
