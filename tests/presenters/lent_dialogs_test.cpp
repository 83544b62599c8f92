#include <gtest/gtest.h>

#include <future>

#include "app/app_fixture.h"
#include "app/dialog_requests.h"
#include "presenters/instance_jobs_board.h"

namespace lumisk {
namespace {

using namespace test;

// An instance without windows, which lends its dialogs to a window. The two share the test's process and main loop, and
// nothing else.
class LentDialogsTest : public AppFixture {
 protected:
  LentDialogsTest() {
    AppServices instance = services();
    instance.lentDialogs = &lent;
    storeThree();
    launch(instance);
  }
  ~LentDialogsTest() override { closeWindow(); }
  // Its last question waits for the instance, which this thread serves.
  void closeWindow() {
    auto gone = std::async(std::launch::async, [this] { board.reset(); });
    while (gone.wait_for(std::chrono::seconds(0)) != std::future_status::ready) serve();
  }
  void openWindow() {
    const auto doAtOnce = [](const std::function<void()>& work) { work(); };
    board.emplace(
        loop, clock, [] {}, doAtOnce, std::chrono::milliseconds(5));
    board->showDialogsOn(window);
    serveUntil([this] { return lent.hasWindow(); });
  }
  DialogItem shownInWindow() {
    serveUntil([this] { return !window.items().empty(); });
    return window.items().front();
  }
  std::future<ConflictAnswer> conflict(std::function<bool()> mustStop = {}) {
    ConflictQuestion question{"a", "", "", {"/s/\xff.jpg", {}}, {"/t/\xff.jpg", {}}, std::move(mustStop)};
    question.source.status.type = FileType::kRegular;
    question.source.status.size = 5'000'000'000;
    question.source.status.modified = {1'700'000'000, 999'999'999};
    return std::async(std::launch::async, [this, question] { return lent.askConflict(question); });
  }
  template <class Value>
  Value got(std::future<Value>& answer) {
    serveUntil([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return answer.get();
  }

  LentDialogs lent{dialogs, clock};
  DialogDesk window{clock};
  std::optional<InstanceJobsBoard> board;
};

constexpr ConflictChoice kOwnAnswer = ConflictAnswer{}.choice;

TEST_F(LentDialogsTest, Questions_AreAnsweredByTheWindow_WithAllThatItShows) {
  openWindow();
  auto answer = conflict();
  const DialogItem shown = shownInWindow();
  EXPECT_EQ(shown.kind, DialogKind::kConflict);
  EXPECT_EQ(shown.job, "a");
  EXPECT_EQ(shown.conflict.source.path, "/s/\xff.jpg");
  EXPECT_EQ(shown.conflict.source.status.type, FileType::kRegular);
  EXPECT_EQ(shown.conflict.source.status.size, 5'000'000'000U);
  EXPECT_EQ(shown.conflict.source.status.modified, (FileTime{1'700'000'000, 999'999'999}));
  window.answerConflict(shown.id, {ConflictChoice::kTargetWins, true});
  const ConflictAnswer given = got(answer);
  EXPECT_EQ(given.choice, ConflictChoice::kTargetWins);
  EXPECT_TRUE(given.forAll);

  dialogs.answer = false;
  auto yes = std::async(std::launch::async, [this] { return lent.ask("Needs Install", "m", "Install", "Cancel"); });
  EXPECT_EQ(shownInWindow().accept, "Install");
  window.answer(shownInWindow().id, true);
  EXPECT_TRUE(got(yes));
  EXPECT_TRUE(window.items().empty());

  auto closed = conflict();
  window.close(shownInWindow().id);
  EXPECT_EQ(got(closed).choice, ConflictChoice::kKeepBoth);
}

TEST_F(LentDialogsTest, WithoutAWindow_OrWithOneThatGoes_NobodyWaits) {
  auto alone = conflict();
  EXPECT_EQ(got(alone).choice, kOwnAnswer);
  openWindow();
  auto left = conflict();
  (void)shownInWindow();
  closeWindow();
  clock.advance(std::chrono::seconds(30));
  EXPECT_EQ(got(left).choice, kOwnAnswer);
  EXPECT_TRUE(lent.desk().items().empty());
}

TEST_F(LentDialogsTest, RunThatIsToEnd_TakesItsQuestionBack) {
  openWindow();
  std::atomic<bool> stop{false};
  auto answer = conflict([&] { return stop.load(); });
  (void)shownInWindow();
  stop = true;
  EXPECT_EQ(got(answer).choice, ConflictChoice::kKeepBoth);
  serveUntil([this] { return window.items().empty(); });
}

TEST_F(LentDialogsTest, WhatStillHolds_IsShownToAWindowThatComesLater) {
  lent.showPathProblem({"no target", "/t", "a", 0});
  lent.showPathProblem({"no target", "/t", "gone", 7});
  lent.showHeldDeletions({"b", "uuid-b", 30, {"/t/x"}});
  lent.showMessage("c", "Warning", "was over long ago");
  EXPECT_EQ(dialogs.take(), std::vector<std::string>{"c: was over long ago"});
  openWindow();
  serveUntil([this] { return window.items().size() == 2; });
  EXPECT_EQ(window.items()[0].path, "/t");
  EXPECT_EQ(window.items()[1].held.jobUuid, "uuid-b");
  EXPECT_EQ(window.items()[1].held.paths, std::vector<std::string>{"/t/x"});

  lent.showMessage("c", "Warning", "told at last");
  serveUntil([this] { return window.items().size() == 3; });
  window.close(window.items()[1].id);
  serveUntil([this] { return lent.desk().items().size() == 2; });
  runToEnd("a");  // its problem is over
  serveUntil([this] { return window.items().size() == 1; });
  EXPECT_EQ(window.items()[0].texts.front().text, "told at last");
}

TEST_F(LentDialogsTest, MoreThanAMessageHolds_ComesOneAfterTheOther) {
  const std::vector<std::string> paths(1000, "/" + std::string(1000, '&'));
  lent.desk().showHeldDeletions({"a", "uuid-a", 1000, paths});
  for (int i = 0; i < 30; ++i) lent.desk().showAlert("alert " + std::to_string(i), std::string(30'000, '<'));
  openWindow();
  for (int i = 0; i < 31; ++i) window.close(shownInWindow().id);
  serveUntil([this] { return lent.desk().items().empty(); });
}

TEST_F(LentDialogsTest, AnswersThatMeanNothing_ChangeNothing) {
  lent.showPathProblem({"no target", "/t", "a", 0});
  const auto id = lent.desk().items().front().id;
  const PropertyList::Dictionary wrong{{"choice", 7}};
  EXPECT_EQ(resultOf(ask(RequestAction::kAnswerDialog, {{kDialogKey, id}, {kDialogAnswerKey, wrong}})),
            RequestResult::kNotUnderstood);
  EXPECT_EQ(lent.desk().items().size(), 1U);
  const auto right = dictionaryOf(DialogAnswer{});
  EXPECT_EQ(resultOf(ask(RequestAction::kAnswerDialog, {{kDialogKey, id}, {kDialogAnswerKey, right}})),
            RequestResult::kDone);
  EXPECT_EQ(resultOf(ask(RequestAction::kAnswerDialog, {{kDialogKey, id}, {kDialogAnswerKey, right}})),
            RequestResult::kRefused);
  EXPECT_FALSE(dialogItemOf(PropertyList::Dictionary{{"id", 1}, {"kind", 99}}));
}

}  // namespace
}  // namespace lumisk
