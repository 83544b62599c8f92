#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QTreeWidget>
#include <filesystem>
#include <fstream>

#include "log/log_file.h"
#include "ui/window_fixture.h"

namespace lumisk::test {
namespace {

class LogAndRestoreTest : public WindowFixture {
 protected:
  LogAndRestoreTest() {
    makeTree(tree.path(), {{"docs", Dir{{"a.txt", File{"spoiled", 0644, 9000}}}},
                           {"t", Dir{{"docs", Dir{{"a.txt", File{"good", 0600, 1000}}}}}}});
    QUORVELPREFERENCEINFO job = newJobDefaults(clock.now());
    job.name = "docs";
    job.uuidString = "uuid";
    job.sourcePaths = {tree / "docs"};
    job.targetPaths = {tree / "t"};
    board.list = {{"uuid", jobToDictionary(job), false, {}}};
    addAllWindows(windows);
  }

  TempTree tree;
};

TEST_F(LogAndRestoreTest, LogWindow_FollowsFiltersAndClears) {
  std::filesystem::create_directories(std::filesystem::path(jobLogPath("docs")).parent_path());
  QWidget* const window = windows.openLog("uuid");
  auto* const lines = window->findChild<QPlainTextEdit*>();
  std::ofstream(jobLogPath("docs"), std::ios::app) << "one\ntwo: ERROR: it failed\n";
  ASSERT_TRUE(comes([&] { return lines->toPlainText() == QStringLiteral("one\ntwo: ERROR: it failed"); }));
  std::ofstream(jobLogPath("docs"), std::ios::app) << "three\n";
  ASSERT_TRUE(comes([&] { return lines->toPlainText().endsWith(QStringLiteral("three")); }));
  QTest::keyClicks(window->findChild<QLineEdit*>(), QStringLiteral("error"));
  EXPECT_EQ(lines->toPlainText(), QStringLiteral("two: ERROR: it failed"));
  std::ofstream(jobLogPath("docs"), std::ios::app) << "another error\n";
  ASSERT_TRUE(comes([&] { return lines->toPlainText() == QStringLiteral("two: ERROR: it failed\nanother error"); }));
  QTest::mouseClick(buttonOf(window, QStringLiteral("Clear")), Qt::LeftButton);
  EXPECT_FALSE(lines->toPlainText().isEmpty()) << "the answer was no";
  dialogs.answer = true;
  QTest::mouseClick(buttonOf(window, QStringLiteral("Clear")), Qt::LeftButton);
  EXPECT_EQ(lines->toPlainText(), QString());
  EXPECT_EQ(std::filesystem::file_size(jobLogPath("docs")), 0U);
}

TEST_F(LogAndRestoreTest, RestoreWindow_PutsAVersionBack) {
  ::unsetenv("XDG_DATA_HOME");
  QWidget* const window = windows.openRestoreOfJob("uuid");
  auto* const entries = window->findChild<QListWidget*>();
  auto* const versions = window->findChild<QTreeWidget*>();
  ASSERT_TRUE(comes([&] { return entries->count() == 1; }));
  entries->setFocus();
  QTest::keyClick(entries, Qt::Key_Down);
  QTest::keyClick(entries, Qt::Key_Home);
  QPushButton* const back = buttonOf(window, QStringLiteral("Put back"));
  ASSERT_TRUE(comes([&] {
    const auto* const first = versions->topLevelItem(0);
    return back->isEnabled() && first && first->toolTip(0).endsWith(QStringLiteral("t/docs/a.txt"));
  }));
  QTest::mouseClick(back, Qt::LeftButton);
  ASSERT_TRUE(comes([&] { return readFile(tree / "docs/a.txt") == "good"; }));
  ExpectTreeExactly(tree / "docs", Dir{{"a.txt", File{"good", 0600, 1000}}});
  window->close();
}

}  // namespace
}  // namespace lumisk::test
