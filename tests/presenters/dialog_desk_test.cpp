#include "app/dialog_desk.h"

#include <filesystem>
#include <future>

#include "presenters/dialog_texts.h"
#include "support/fake_clock.h"
#include "support/worker_fixture.h"

namespace lumisk::test {
namespace {

class DialogDeskTest : public ::testing::Test {
 protected:
  // Serves the main thread until a window with such a question stands there.
  DialogItem waitForItem() {
    loop.serveUntil([&] { return !desk.items().empty(); });
    return desk.items().front();
  }
  static ConflictQuestion conflict() { return {"job", "a", "b", {"/s/a", {}}, {"/t/a", {}}, {}}; }

  FakeClock clock;
  MainLoop loop;
  // Wakes serveUntil() once in a while.
  MainLoop::SourceHandle tick = loop.every(std::chrono::milliseconds(5), [] {});
  DialogDesk desk{clock};
};

TEST_F(DialogDeskTest, SameTroubleOfAJob_ChangesItsOneWindow) {
  desk.showPathProblem({"no target", "/t", "a", 0});
  const auto first = desk.items().front();
  clock.advance(std::chrono::hours(1));
  desk.showPathProblem({"no target", "/t2", "a", 0});
  desk.showPathProblem({"no source", "/s", "a", 0});
  desk.showMessage("a", "Warning", "full");
  desk.showPathProblem({"no target", "/t", "b", 1});
  const auto items = desk.items();
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].id, first.id);
  EXPECT_EQ(items[0].path, "/s");
  ASSERT_EQ(items[0].texts.size(), 2U);
  EXPECT_EQ(items[0].texts[0].times, 2U);
  EXPECT_EQ(items[0].texts[1].text, "no source");
  desk.close(first.id);
  desk.showPathProblem({"no target", "/t", "a", 0});
  EXPECT_NE(desk.items().back().id, first.id);
  desk.jobCompleted("a");
  ASSERT_EQ(desk.items().size(), 2U);
  EXPECT_EQ(desk.items().front().kind, DialogKind::kMessage);
}

TEST_F(DialogDeskTest, Message_FromAnotherThread_ReturnsAtOnceAndIsToldOnTheMainThread) {
  int told = 0;
  desk.observe([&] { ++told; });
  std::thread([&] {
    for (int i = 0; i < 100; ++i) desk.showMessage("a", "Warning", "full");
  }).join();
  EXPECT_EQ(told, 0);
  loop.serveUntil([&] { return told > 0; });
  EXPECT_EQ(told, 1);
  EXPECT_EQ(desk.items().front().texts.front().times, 100U);
}

TEST_F(DialogDeskTest, Question_OfAnotherThread_WaitsForItsAnswer) {
  auto answer = std::async(std::launch::async, [&] { return desk.askConflict(conflict()); });
  desk.answerConflict(waitForItem().id, {ConflictChoice::kSourceWins, true});
  const ConflictAnswer given = answer.get();
  EXPECT_EQ(given.choice, ConflictChoice::kSourceWins);
  EXPECT_TRUE(given.forAll);
  auto yes = std::async(std::launch::async, [&] { return desk.ask("t", "m", "Yes", "No"); });
  desk.answer(waitForItem().id, true);
  EXPECT_TRUE(yes.get());
}

TEST_F(DialogDeskTest, Question_ThatIsClosed_GetsTheSafeAnswer) {
  auto conflicting = std::async(std::launch::async, [&] { return desk.askConflict(conflict()); });
  desk.close(waitForItem().id);
  const ConflictAnswer given = conflicting.get();
  EXPECT_EQ(given.choice, ConflictChoice::kKeepBoth);
  EXPECT_FALSE(given.forAll);
  auto yes = std::async(std::launch::async, [&] { return desk.ask("t", "m", "Yes", "No"); });
  desk.close(waitForItem().id);
  EXPECT_FALSE(yes.get());
}

TEST_F(DialogDeskTest, QuestionOfAStoppedRun_IsWithdrawnWhileTheMainThreadWaitsForTheRun) {
  std::atomic<bool> stop{false};
  ConflictQuestion question = conflict();
  question.mustStop = [&] { return stop.load(); };
  auto answer = std::async(std::launch::async, [&] { return desk.askConflict(question); });
  waitForItem();
  stop = true;
  EXPECT_EQ(answer.get().choice, ConflictChoice::kKeepBoth);  // without serving the loop
  EXPECT_TRUE(desk.items().empty());
}

TEST_F(DialogDeskTest, MainThreadThatStandsStill_ReleasesTheThreadThatItMayWaitFor) {
  auto answer = std::async(std::launch::async, [&] { return desk.ask("t", "m", "Install", "Cancel"); });
  waitForItem();
  // A main thread that serves its loop may take its time.
  for (int i = 0; i < 10; ++i) {
    clock.advance(std::chrono::seconds(2));
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(60);
    loop.serveUntil([&] { return std::chrono::steady_clock::now() > until; });
  }
  EXPECT_EQ(desk.items().size(), 1U);
  std::atomic<bool> isOver{false};
  std::thread passing([&] {
    while (!isOver) {
      clock.advance(std::chrono::seconds(1));
      std::this_thread::yield();
    }
  });
  EXPECT_FALSE(answer.get());
  isOver = true;
  passing.join();
}

TEST_F(DialogDeskTest, QuestionOfTheMainThread_IsServedInANestedLoop_AlsoFromWithinWorkOfAnotherLoop) {
  bool answer = false;
  desk.observe([&] {
    // Whichever of the two comes first.
    const auto items = desk.items();
    if (items.size() < 2) return;
    desk.answer(items[items.front().kind == DialogKind::kMessage ? 1 : 0].id, true);
  });
  std::thread teller;
  loop.perform([&] {
    teller = std::thread([&] { desk.showMessage("a", "Warning", "told meanwhile"); });
    answer = desk.ask("Qel Lumisk", "really?", "OK", "Cancel");
    loop.quit();
  });
  loop.run();
  teller.join();
  EXPECT_TRUE(answer);
}

TEST_F(DialogDeskTest, End_AnswersWhatIsAskedAndWhatComesAfter) {
  auto answer = std::async(std::launch::async, [&] { return desk.askConflict(conflict()); });
  waitForItem();
  loop.perform([&] { desk.end(); });
  EXPECT_FALSE(desk.ask("Qel Lumisk", "really?", "OK", "Cancel"));
  EXPECT_EQ(answer.get().choice, ConflictChoice::kKeepBoth);
  EXPECT_FALSE(desk.ask("t", "m", "Yes", "No"));
}

// A whole run.

TEST_F(DialogDeskTest, DeletionsHeldByARun_AreToldWithTheirPaths) {
  WorkerFixture fixture;
  fixture.job.nAutoDeletion = 1;
  for (int i = 0; i < 30; ++i) makeTree(fixture.tree / "source/d", {{fmt::format("f{:02}", i), File{"x", 0644, 2000}}});
  ASSERT_TRUE(fixture.runOnce().completed);
  std::filesystem::remove_all(fixture.tree / "source/d");
  ASSERT_TRUE(fixture.runOnce().held);
  fixture.stop();
  ASSERT_EQ(fixture.dialogs.held.size(), 1U);
  const HeldDeletions& held = fixture.dialogs.held.front();
  EXPECT_EQ(held.jobUuid, "UUID-1");
  EXPECT_EQ(held.count, 32U);
  EXPECT_THAT(held.paths, ::testing::ElementsAre(fixture.tree / "target/source/d"));
  const DialogTexts texts = dialogTexts({.kind = DialogKind::kHeldDeletions, .job = "job", .held = held}, {});
  EXPECT_EQ(texts.heading, "“job” would delete 32 entries");
}

}  // namespace
}  // namespace lumisk::test
