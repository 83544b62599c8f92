#include "ui/main_window.h"

#include <QAction>
#include <QLabel>
#include <QListWidget>
#include <QSignalSpy>
#include <QTableView>
#include <QToolButton>

#include "ui/desktop.h"
#include "ui/job_commands.h"
#include "ui/jobs_model.h"
#include "ui/window_fixture.h"

namespace lumisk {
namespace {

using namespace test;

class MainWindowTest : public WindowFixture {
 protected:
  MainWindowTest() {
    addAllWindows(windows);
    windows.add(WindowKind::kJobEditor, [this](UiContext&, const WindowRequest& request) {
      edited.push_back(request);
      return new QWidget;
    });
  }
  void addJobs(const std::vector<std::string>& names) {
    for (const std::string& name : names) board.list.push_back(boardJob(name, clock.now()));
  }
  MainWindow& open() {
    window = static_cast<MainWindow*>(windows.showMain());
    EXPECT_TRUE(QTest::qWaitForWindowActive(window));
    return *window;
  }
  // As a person does: in the middle of the row.
  void clickRow(int row, Qt::KeyboardModifiers modifiers = {}) {
    QTableView& table = window->table();
    const QPoint place = table.visualRect(table.model()->index(row, 0)).center();
    QTest::mouseClick(table.viewport(), Qt::LeftButton, modifiers, place);
  }
  void clickTool(const QAction* action) {
    for (auto* const button : window->findChildren<QToolButton*>()) {
      if (button->defaultAction() == action) QTest::mouseClick(button, Qt::LeftButton);
    }
  }

  std::vector<WindowRequest> edited;
  MainWindow* window = nullptr;
};

using Calls = std::vector<std::string>;

TEST_F(MainWindowTest, Commands_ReachTheSelectedJobsByMouseAndKeyboard) {
  addJobs({"a", "b", "c"});
  open();
  clickRow(1);
  clickTool(window->commands().startOrStop);
  EXPECT_EQ(std::exchange(board.calls, {}), Calls{"start uuid-b"});
  board.list[1].running = true;
  board.observers.tell(BoardChange::kProgress);
  ASSERT_TRUE(comes([&] { return window->commands().startOrStop->text() == QStringLiteral("&Stop"); }));
  clickTool(window->commands().startOrStop);
  EXPECT_EQ(std::exchange(board.calls, {}), Calls{"stop uuid-b"});
  QTest::keyClick(&window->table(), Qt::Key_Down);
  QTest::keyClick(&window->table(), Qt::Key_D, Qt::ControlModifier);
  EXPECT_EQ(std::exchange(board.calls, {}), Calls{"disable uuid-c"});
  clickRow(0);
  clickRow(1, Qt::ControlModifier);
  QTest::keyClick(&window->table(), Qt::Key_Delete);
  EXPECT_EQ(board.calls, Calls{}) << "the question was answered with no";
  dialogs.answer = true;
  QTest::keyClick(&window->table(), Qt::Key_Delete);
  EXPECT_EQ(board.calls, (Calls{"remove uuid-a", "remove uuid-b"}));
  EXPECT_EQ(dialogs.asked.size(), 2u);
}

TEST_F(MainWindowTest, RunningJobs_ArePausedAndResumedByMouseAndKeyboard) {
  addJobs({"a", "b", "c"});
  for (const std::size_t runs : {0, 1}) board.list[runs].running = true;
  board.list[1].stored.mutableDictionary()[kJobTypeKey] = static_cast<std::int32_t>(JobType::kClone);
  open();
  const QAction& action = *window->commands().pauseOrResume;
  for (const int cannot : {1, 2}) {
    clickRow(cannot);
    EXPECT_FALSE(action.isEnabled()) << "a clone, or a job that does not run";
  }
  QTest::keyClick(&window->table(), Qt::Key_A, Qt::ControlModifier);
  clickTool(&action);
  EXPECT_EQ(std::exchange(board.calls, {}), Calls{"pause uuid-a"});
  ASSERT_TRUE(comes([&] { return action.text() == QStringLiteral("Res&ume"); }));
  QTest::keyClick(&window->table(), Qt::Key_P, Qt::ControlModifier);
  EXPECT_EQ(board.calls, Calls{"resume uuid-a"});
}

TEST_F(MainWindowTest, DroppedFolders_BeginAJobOfTheirBytes) {
  open();
  dropOn(window, "file:///old/caf%E9\r\nfile:///new/%C3%A9");
  ASSERT_EQ(edited.size(), 1u);
  EXPECT_EQ(edited[0].paths, (std::vector<std::string>{"/old/caf\xE9", "/new/\xC3\xA9"}));
}

TEST_F(MainWindowTest, ManyChanges_AreOneLookAtTheJobsAndOneRowThatIsDrawn) {
  addJobs({"a", "b", "c"});
  open();
  JobsModel& model = JobsModel::of(windows.context());
  QSignalSpy drawn(&model, &QAbstractItemModel::dataChanged);
  QSignalSpy updated(&model, &JobsModel::updated);
  const int timesRead = board.timesRead;
  board.list[1].running = true;
  for (int i = 0; i < 500; ++i) board.observers.tell(i % 2 ? BoardChange::kProgress : BoardChange::kJobs);
  ASSERT_TRUE(comes([&] { return updated.count() > 0; }));
  EXPECT_EQ(board.timesRead, timesRead + 1);
  ASSERT_EQ(drawn.count(), 1);
  EXPECT_EQ(drawn[0][0].toModelIndex().row(), 1);
}

TEST_F(MainWindowTest, Selection_StaysWithTheJobWhenOthersComeAndGo) {
  addJobs({"a", "b", "c"});
  open();
  clickRow(1);
  board.list.erase(board.list.begin());
  board.observers.tell(BoardChange::kJobs);
  ASSERT_TRUE(comes([&] { return window->table().model()->rowCount() == 2; }));
  clickTool(window->commands().startOrStop);
  EXPECT_EQ(board.calls, Calls{"start uuid-b"});
}

TEST_F(MainWindowTest, ClosedWithoutATray_EndsTheProgramOnlyWhenTheUserAgrees) {
  bool mayQuit = false;
  int asked = 0;
  Desktop desktop(*qApp, windows, [&] {
    ++asked;
    return mayQuit;
  });
  open();
  window->close();
  EXPECT_TRUE(window->isVisible());
  mayQuit = true;
  window->close();
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(asked, 2);
}

TEST_F(MainWindowTest, MiniPanel_ShowsWhatRuns_PausesItAndStopsIt) {
  addJobs({"a", "b"});
  board.list[1].running = true;
  board.list[1].progress = JobProgressMessage::messageWithJobName("b", "x.txt", 12, 0);
  QWidget* const panel = windows.showMiniPanel();
  const auto shows = [&](const char* text) {
    for (const auto* const label : panel->findChildren<QLabel*>()) {
      if (label->text() == QLatin1String(text)) return true;
    }
    return false;
  };
  EXPECT_TRUE(shows("12%") && shows("x.txt"));
  const auto click = [&](const char* name) {
    for (auto* const button : panel->findChildren<QToolButton*>()) {
      if (button->accessibleName() == QLatin1String(name)) QTest::mouseClick(button, Qt::LeftButton);
    }
  };
  click("Pause b");
  ASSERT_TRUE(comes([&] { return shows("Paused, 12%"); }));
  click("Resume b");
  ASSERT_TRUE(comes([&] { return shows("12%"); }));
  click("Stop b");
  EXPECT_EQ(board.calls, (Calls{"pause uuid-b", "resume uuid-b", "stop uuid-b"}));
  board.list[1].running = false;
  ASSERT_TRUE(comes([&] { return !shows("x.txt"); })) << "an end that nobody tells";
}

TEST_F(MainWindowTest, SentFolders_AreAddedToTheJobThatIsPicked) {
  TempTree tree{{"s", Dir{}}, {"more", Dir{}}, {"t", Dir{{"inside", Dir{}}}}};
  addJobs({"a", "b"});
  QUORVELPREFERENCEINFO job;
  ASSERT_TRUE(jobFromDictionary(board.list[1].stored, job));
  job.sourcePaths = {tree / "s"};
  job.targetPaths = {tree / "t"};
  board.list[1].stored = jobToDictionary(job);
  const auto pick = [&](const std::string& path) {
    const QPointer<QWidget> picker(windows.openPickJob({path}));
    auto* const list = picker->findChild<QListWidget*>();
    QTest::keyClick(list, Qt::Key_Down);
    QTest::keyClick(list, Qt::Key_Return);
    return picker;
  };
  const auto refused = pick(tree.path());
  EXPECT_EQ(board.calls, Calls{}) << "the target lies in there";
  EXPECT_TRUE(refused && refused->isVisible());
  pick(tree / "more/");
  EXPECT_EQ(board.calls, Calls{"edit b"});
  EXPECT_EQ(board.list[1].stored[kBackupFoldersKey].at(3).text(), tree / "more");
}

}  // namespace
}  // namespace lumisk
