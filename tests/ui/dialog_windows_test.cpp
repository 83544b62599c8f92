#include "ui/dialog_windows.h"

#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QListWidget>
#include <QRadioButton>
#include <thread>

#include "presenters/dialog_texts.h"
#include "presenters/notice_watch.h"
#include "support/worker_fixture.h"
#include "ui/text.h"
#include "ui/window_fixture.h"

namespace lumisk::test {
namespace {

class DialogWindowsTest : public ::testing::Test {
 protected:
  QDialog* onlyWindow() {
    EXPECT_TRUE(comes([&] { return desk.items().size() == 1 && windows.windowOf(desk.items()[0].id); }));
    return windows.windowOf(desk.items()[0].id);
  }
  static QString allText(const QWidget* window) {
    QString text;
    for (const QLabel* const label : window->findChildren<QLabel*>())
      if (label->isVisibleTo(window)) text += label->text() + QLatin1Char('\n');
    return text;
  }

  FakeClock clock;
  MainLoop loop;
  DialogDesk desk{clock};
  DialogWindows windows{desk, clock, loop};
};

// A two-way run on its own thread meets one file that was changed on both sides.
class ConflictOfARun : public DialogWindowsTest {
 protected:
  ConflictOfARun() {
    fixture.job.jobType = JobType::kSyncWithConflicts;
    fixture.job.bMoveFileTrash = true;
    makeTree(fixture.tree.path(), {{"source", Dir{{"both", File{"of the source", 0644, 9000}}}},
                                   {"target", Dir{{"both", File{"of the target", 0644, 7000}}}}});
  }
  void start() {
    WorkerServices services{fixture.files, fixture.clock, fixture.center, desk, fixture.images, {}, {}, {}};
    services.setFirstCopyFlag = [](std::int32_t) { return true; };
    worker = std::make_unique<copyFileThreadObject>(services);
    ASSERT_TRUE(worker->fetchCurrentInfo({jobToDictionary(fixture.job)}, 0));
    RunOptions options;
    options.pace = PaceKind::kFull;
    worker->setRunOptions(options);
    worker->start();
    ended = fixture.center.observe(kScheduleNotification, [this](const Notification&) { ++ends; });
    worker->setCopyMethod(CopyMethod::kNormal);
  }
  std::string source() { return readFile(fixture.tree / "source/both"); }
  std::string target() { return readFile(fixture.tree / "target/both"); }
  void choose(QDialog* window, ConflictChoice choice) {
    for (const ChoiceText& text : choiceTexts()) {
      if (text.choice != choice) continue;
      for (QRadioButton* const each : window->findChildren<QRadioButton*>())
        if (each->text() == shownText(text.name))
          QTest::mouseClick(each, Qt::LeftButton, {}, QPoint(8, each->height() / 2));
    }
  }

  WorkerFixture fixture;
  std::atomic<int> ends{0};
  NotificationCenter::Observation ended;
  std::unique_ptr<copyFileThreadObject> worker;  // first to go
};

TEST_F(ConflictOfARun, AnsweredInItsWindow_IsCarriedOut) {
  start();
  QDialog* const window = onlyWindow();
  EXPECT_TRUE(allText(window).contains(QStringLiteral("both")));
  choose(window, ConflictChoice::kTargetWins);
  QTest::mouseClick(buttonOf(window, QStringLiteral("OK")), Qt::LeftButton);
  ASSERT_TRUE(comes([&] { return ends > 0; }));
  EXPECT_EQ(source(), "of the target");
  EXPECT_EQ(target(), "of the target");
  worker->stop();
}

TEST_F(ConflictOfARun, WindowThatIsClosed_KeepsBothVersions) {
  start();
  QTest::keyClick(onlyWindow(), Qt::Key_Escape);
  ASSERT_TRUE(comes([&] { return ends > 0; }));
  worker->stop();
  EXPECT_EQ(source(), "of the source");
  EXPECT_EQ(target(), "of the source");
  EXPECT_EQ(readFile(fixture.tree / "target/both(OLD)"), "of the target");
}

TEST_F(ConflictOfARun, WorkerThatIsStoppedWhileItAsks_IsNotWaitedForInVain) {
  start();
  onlyWindow();
  worker->stop();  // the main thread stands still until the worker has ended
  EXPECT_TRUE(desk.items().empty());
  EXPECT_TRUE(exists(fixture.tree / "source/both"));
  EXPECT_TRUE(exists(fixture.tree / "target/both"));
}

TEST_F(DialogWindowsTest, Messages_OfOneJob_ChangeOneWindowThatTakesNoFocus) {
  desk.showPathProblem({"Destination folder isn't writable or does not exist.", "/media/x", "Documents", 0});
  const QDialog* const window = onlyWindow();
  EXPECT_TRUE(window->testAttribute(Qt::WA_ShowWithoutActivating));
  EXPECT_TRUE(window->isVisible());
  EXPECT_TRUE(allText(window).contains(QStringLiteral("/media/x")));
  desk.showPathProblem({"Destination folder isn't writable or does not exist.", "/media/y", "Documents", 0});
  EXPECT_EQ(onlyWindow(), window);
  EXPECT_TRUE(allText(window).contains(QStringLiteral("/media/y")));
  EXPECT_TRUE(allText(window).contains(QStringLiteral("Told 2 times")));
}

TEST_F(DialogWindowsTest, QuestionOfTheMainThread_IsAnsweredByTheKeyboard) {
  const auto answerWith = [&](const QString& text) {
    QMetaObject::invokeMethod(
        &windows,
        [this, text] { QTest::keyClick(buttonOf(windows.windowOf(desk.items()[0].id), text), Qt::Key_Space); },
        Qt::QueuedConnection);
  };
  answerWith(QStringLiteral("OK"));
  EXPECT_TRUE(desk.ask("Qel Lumisk", "Do you really want to delete this job?", "OK", "Cancel"));
  answerWith(QStringLiteral("Cancel"));
  EXPECT_FALSE(desk.ask("Qel Lumisk", "Do you really want to delete this job?", "OK", "Cancel"));
  EXPECT_TRUE(desk.items().empty());
}

TEST_F(DialogWindowsTest, HeldDeletions_AreListed_LetThroughOrKept) {
  FakeJobsBoard board;
  const NoticeWatch watch(board, clock, loop, desk, [](const DesktopNotice&) {});
  const HeldDeletions held{"Documents", "uuid-1", 30, {"/t/a", "/t/b"}};
  desk.showHeldDeletions(held);
  QDialog* window = onlyWindow();
  EXPECT_EQ(window->findChild<QListWidget*>()->count(), 2);
  QTest::mouseClick(buttonOf(window, QStringLiteral("Keep them")), Qt::LeftButton);
  EXPECT_TRUE(desk.items().empty());
  EXPECT_TRUE(board.calls.empty());
  desk.showHeldDeletions(held);
  window = onlyWindow();
  board.refusal = "the job is running";
  QTest::mouseClick(buttonOf(window, QStringLiteral("Delete them now")), Qt::LeftButton);
  EXPECT_TRUE(allText(window).contains(QStringLiteral("the job is running")));
  EXPECT_EQ(desk.items().size(), 1U) << "they are still held";
  board.refusal.reset();
  QTest::mouseClick(buttonOf(window, QStringLiteral("Delete them now")), Qt::LeftButton);
  EXPECT_EQ(board.calls.back(), "allow deletions of uuid-1");
  EXPECT_TRUE(desk.items().empty());
}

}  // namespace
}  // namespace lumisk::test
