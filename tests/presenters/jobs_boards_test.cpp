#include <gtest/gtest.h>

#include <filesystem>

#include "app/app_fixture.h"
#include "app/job_changes.h"
#include "engine/file_list.h"
#include "presenters/instance_jobs_board.h"
#include "presenters/local_jobs_board.h"

namespace lumisk {
namespace {

using namespace test;

// The same application through both boards: in its own process, and over its message server.
class JobsBoardsTest : public AppFixture {
 protected:
  // An answer of the server needs its main loop while the asker waits.
  void waitServing(const std::function<void()>& work) {
    std::atomic<bool> isDone{false};
    std::thread worker([&] {
      work();
      isDone = true;
    });
    while (!isDone) serve();
    worker.join();
  }
  void checkChanges(JobsBoard& board) {
    EXPECT_EQ(board.jobs().size(), 3u);
    EXPECT_EQ(board.setActive("uuid-a", false), std::nullopt);
    EXPECT_FALSE(job("a")[kActiveKey].boolean());
    EXPECT_TRUE(job("a")[kManullyDisableKey].boolean());
    EXPECT_NE(board.start("uuid-a"), std::nullopt) << "it is disabled";
    EXPECT_EQ(board.setActive("uuid-a", true), std::nullopt);

    const PropertyList before = job("b");
    QUORVELPREFERENCEINFO edited;
    ASSERT_TRUE(jobFromDictionary(before, edited));
    edited.name = "renamed";
    EXPECT_EQ(board.edit(before, edited), std::nullopt);
    edited.name = "again";
    EXPECT_NE(board.edit(before, edited), std::nullopt) << "the name is not what it was";
    EXPECT_EQ(job("renamed")[kUuidStringKey].text(), "uuid-b");

    EXPECT_EQ(board.remove("uuid-c"), std::nullopt);
    EXPECT_NE(board.remove("uuid-c"), std::nullopt);
    QUORVELPREFERENCEINFO added = makeJob("d");
    EXPECT_EQ(board.add(added), std::nullopt);
    EXPECT_NE(board.add(added), std::nullopt) << "the name is taken";
    added.name = "x/y";
    EXPECT_NE(board.add(added), std::nullopt);
    EXPECT_EQ(app->jobs().count(), 3);

    EXPECT_EQ(board.setPreference("SGCopyPace", "full"), std::nullopt);
    EXPECT_EQ(board.preference("SGCopyPace").text(), "full");
  }
};

TEST_F(JobsBoardsTest, LocalBoard_ChangesTheJobsOfThisProcess) {
  launchThree();
  LocalJobsBoard board(*app, clock);
  checkChanges(board);
}

TEST_F(JobsBoardsTest, EditOfARunningJob_WaitsForItsRunBesideTheWindows) {
  launchThree();
  int waited = 0;
  LocalJobsBoard board(*app, clock, [&](const std::function<bool()>& isOver) {
    ++waited;
    EXPECT_FALSE(isOver());
    gate->set(false);  // a run that takes its time to end
    serveUntil(isOver);
  });
  const auto setTimer = [&](std::int32_t count) {
    const PropertyList before = job("a");
    QUORVELPREFERENCEINFO edited;
    ASSERT_TRUE(jobFromDictionary(before, edited));
    edited.scheduling_timer = count;
    EXPECT_EQ(board.edit(before, edited), std::nullopt);
    EXPECT_EQ(job("a")[kSchedulingKey][kTimerKey].integer32(), count);
  };
  setTimer(77);
  EXPECT_EQ(waited, 0) << "nothing runs";
  gate->set(true);
  EXPECT_EQ(board.start("uuid-a"), std::nullopt);
  gate->waitForRun();
  setTimer(78);
  EXPECT_EQ(waited, 1);
  EXPECT_EQ(job("a")[kCancelStatusKey].integer32(), static_cast<std::int32_t>(CancelStatus::kCancelled));
  EXPECT_FALSE(exists(copyOf("a")));
}

TEST_F(JobsBoardsTest, PausedRun_StandsStillUntilItGoesOnOrEnds_OnEitherBoard) {
  storeThree();
  launch();
  LocalJobsBoard local(*app, clock);
  InstanceJobsBoard instance(
      loop, clock, [] {}, [this](const auto& work) { waitServing(work); });
  const auto isPaused = [](JobsBoard& board) {
    const auto runs = board.running();
    return runs.size() == 1 && runs[0].uuid == "uuid-b" && runs[0].paused;
  };
  for (JobsBoard* const board : std::initializer_list<JobsBoard*>{&local, &instance}) {
    EXPECT_EQ(board->pause("uuid-b"), "the job does not run");
    EXPECT_EQ(board->resume("uuid-b"), "the job is not paused");
    EXPECT_NE(board->pause("uuid-other"), std::nullopt);
    const auto pauseARun = [&] {
      gate->set(true);
      EXPECT_EQ(board->start("uuid-b"), std::nullopt);
      gate->waitForRun();
      EXPECT_EQ(board->pause("uuid-b"), std::nullopt);
      gate->set(false);
      serveUntil([&] { return isPaused(*board); });
      EXPECT_TRUE(board->jobs()[1].paused);
    };
    pauseARun();
    EXPECT_EQ(board->resume("uuid-b"), std::nullopt) << "it did not stand still";
    serveUntil([&] { return !busy("b"); });
    EXPECT_TRUE(exists(copyOf("b")));
    std::filesystem::remove_all(tree / "b/target/source");
    pauseARun();
    EXPECT_EQ(board->stop("uuid-b"), std::nullopt);
    serveUntil([&] { return !busy("b") && board->running().empty(); });
    EXPECT_EQ(job("b")[kCancelStatusKey].integer32(), static_cast<std::int32_t>(CancelStatus::kCancelled));
    EXPECT_FALSE(exists(copyOf("b")));
    pauseARun();
    EXPECT_TRUE(app->disableJobAtIndex(indexOf("b"))) << "stops its run";
    EXPECT_TRUE(app->enableJobAtIndex(indexOf("b")));
    serveUntil([&] { return board->running().empty(); });
  }
}

TEST_F(JobsBoardsTest, FileListOfAJob_FollowsItsName_AndIsNobodyElses) {
  storeThree();
  const auto list = [](const std::string& name) { return fileListFolder() + "/" + name + ".qellumiskdat"; };
  std::filesystem::create_directories(fileListFolder());
  for (const char* name : {"a", "b", "orphan"}) writeFile(list(name), name);
  launch();
  LocalJobsBoard board(*app, clock);
  const auto rename = [&](const std::string& from, const std::string& to) {
    QUORVELPREFERENCEINFO edited;
    const PropertyList before = job(from);
    ASSERT_TRUE(jobFromDictionary(before, edited));
    edited.name = to;
    EXPECT_EQ(board.edit(before, edited), std::nullopt);
  };
  rename("a", "x");
  EXPECT_FALSE(exists(list("a")));
  EXPECT_EQ(readFile(list("x")), "a");
  EXPECT_EQ(board.add(makeJob("orphan")), std::nullopt);
  EXPECT_FALSE(exists(list("orphan"))) << "it was of a job that has gone";

  PropertyList::Array before = app->jobs().jobs(), after = before;
  for (PropertyList& each : after) {
    const std::string name = each[kObjectNameKey].text();
    if (name == "x") each.mutableDictionary()[kObjectNameKey] = "b";
    if (name == "b") each.mutableDictionary()[kObjectNameKey] = "x";
  }
  EXPECT_EQ(resultOf(ask(RequestAction::kChangeJobs, {{kRequestChangesKey, jobChanges(before, after)}})),
            RequestResult::kDone);
  EXPECT_FALSE(exists(list("x")) || exists(list("b"))) << "two jobs that change their names would have each other's";
}

TEST_F(JobsBoardsTest, InstanceBoard_ChangesTheJobsOverTheMessageServer) {
  launchThree();
  InstanceJobsBoard board(
      loop, clock, [] {}, [this](const auto& work) { waitServing(work); });
  checkChanges(board);
}

TEST_F(JobsBoardsTest, Observers_HearOfChangesAsLongAsTheyHoldOn) {
  launchThree();
  LocalJobsBoard board(*app, clock);
  std::vector<BoardChange> told;
  auto observation = board.observe([&](BoardChange change) { told.push_back(change); });
  EXPECT_EQ(board.setPreference("SGCopyPace", "full"), std::nullopt);
  EXPECT_EQ(told, std::vector<BoardChange>{BoardChange::kPreferences});
  EXPECT_EQ(board.setActive("uuid-a", false), std::nullopt);
  EXPECT_EQ(told.back(), BoardChange::kJobs);
  observation.reset();
  const auto count = told.size();
  EXPECT_EQ(board.setActive("uuid-a", true), std::nullopt);
  EXPECT_EQ(told.size(), count);
}

TEST_F(JobsBoardsTest, SecondStart_ShowsTheWindowOfTheFirstWhereThereIsOne) {
  EXPECT_EQ(askOtherInstance(), OtherInstance::kNone);
  launchThree();
  OtherInstance found{};
  waitServing([&] { found = askOtherInstance(); });
  EXPECT_EQ(found, OtherInstance::kWithoutWindows);
  int shown = 0;
  app->setShowWindow([&] { ++shown; });
  waitServing([&] { found = askOtherInstance(); });
  EXPECT_EQ(found, OtherInstance::kShowsItsWindow);
  EXPECT_EQ(shown, 1);

  waitServing([&] { found = askOtherInstance("/s/a\xff"); });
  EXPECT_EQ(found, OtherInstance::kWithoutWindows);
  std::vector<std::string> asked;
  app->setShowVersions([&](const auto& paths) { asked = paths; });
  waitServing([&] { found = askOtherInstance("/s/a\xff"); });
  EXPECT_EQ(found, OtherInstance::kShowsItsWindow);
  EXPECT_EQ(asked, std::vector<std::string>{"/s/a\xff"});
  EXPECT_EQ(shown, 1);
}

}  // namespace
}  // namespace lumisk
