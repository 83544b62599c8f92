#include <filesystem>

#include "presenters/local_jobs_board.h"
#include "ui/choice_card.h"
#include "ui/job_editor_window.h"
#include "ui/local_desktop.h"
#include "ui/target_section.h"
#include "ui/window_fixture.h"

namespace lumisk {
namespace {

using namespace test;

// The whole application, from an empty home folder on; only the system's folder dialog is answered by the test, and the
// stick is a folder.
class FirstBackupTest : public HomeFixture {
 protected:
  JobEditorSeams seams() {
    JobEditorSeams made;
    made.chooseFolders = [this] {
      ++folderChoices;
      return std::vector<std::string>{tree / "Documents"};
    };
    made.listVolumes = [this] {
      return VolumeList{
          {volumeRow({"Stick", tree / "Stick", "ext4", "/dev/sdz1", 4ULL << 30, 1ULL << 30, false}, true)}, {}};
    };
    return made;
  }
  void click(QWidget* widget) {
    ASSERT_TRUE(widget && widget->isVisible() && widget->isEnabled());
    QTest::mouseClick(widget, Qt::LeftButton);
    ++clicks;
  }
  // Wherever on the stick it is.
  [[nodiscard]] std::string copied(const std::string& name) const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree / "Stick"))
      if (entry.path().filename() == name) return readFile(entry.path());
    return {};
  }

  TempTree tree{{"Documents", Dir{{"letter.txt", File{"Dear Anna"}}}}, {"Stick", Dir{}}};
  MainLoop loop;
  SilentDialogs dialogs;
  LocalDesktop desktop{loop, dialogs, systemClock(), realFileCalls()};
  LocalJobsBoard board{desktop.app(), systemClock()};
  WindowSet windows{board, systemClock(), realFileCalls(), loop, dialogs};
  int clicks = 0, folderChoices = 0;
};

TEST_F(FirstBackupTest, FromAColdStart_TakesFourClicksAndOneFolderChoice) {
  ASSERT_TRUE(desktop.app().applicationDidFinishLaunching());
  addAllWindows(windows);
  addJobEditor(windows, seams());
  QWidget* const main = windows.showMain();
  click(main->findChild<QPushButton*>(QStringLiteral("firstJob")));

  QWidget* const editor = windows.find(WindowKind::kJobEditor);
  ASSERT_TRUE(editor);
  const QPointer<QWidget> editing(editor);
  click(editor->findChild<QPushButton*>(QStringLiteral("addFolder")));
  const auto stick = [&]() -> ChoiceCard* {
    const auto cards = editor->findChildren<ChoiceCard*>(QStringLiteral("volume"));
    for (ChoiceCard* const card : cards) {
      if (card->isVisible() && card->text() == QStringLiteral("Stick")) return card;
    }
    return nullptr;
  };
  ASSERT_TRUE(comes([&] { return stick() != nullptr; }));
  click(stick());
  auto* const save = editor->findChild<QPushButton*>(QStringLiteral("save"));
  ASSERT_TRUE(comes([&] { return save->isEnabled(); }));
  click(save);

  ASSERT_TRUE(comes([&] { return copied("letter.txt") == "Dear Anna"; }));
  EXPECT_LE(clicks, 4);
  EXPECT_EQ(folderChoices, 1);
  EXPECT_TRUE(comes([&] { return editing.isNull(); })) << "the editor closes";
  ASSERT_TRUE(comes([&] { return board.running().empty() && !board.jobs().empty(); }));
  ASSERT_TRUE(comes([&] { return !board.jobs()[0].stored[kLastRanTimeKey].text().empty(); }));
  EXPECT_EQ(board.jobs()[0].stored[kCancelStatusKey].integer(), 0);
  desktop.app().applicationWillTerminate();
}

TEST_F(FirstBackupTest, RunThatStandsStill_GoesOnFromTheMiniPanel) {
  ASSERT_TRUE(desktop.app().applicationDidFinishLaunching());
  addAllWindows(windows);
  QUORVELPREFERENCEINFO job = newJobDefaults(systemClock().now());
  job.name = "docs";
  job.uuidString = "uuid";
  job.sourcePaths = {tree / "Documents"};
  job.targetPaths = {tree / "Stick"};
  job.scheduling_method = SchedulingMethod::kNone;
  ASSERT_EQ(board.add(job), std::nullopt);
  ASSERT_EQ(board.start("uuid"), std::nullopt);
  ASSERT_EQ(board.pause("uuid"), std::nullopt);
  QWidget* const panel = windows.showMiniPanel();
  const auto resume = [&]() -> QToolButton* {
    for (auto* const button : panel->findChildren<QToolButton*>())
      if (button->accessibleName() == QStringLiteral("Resume docs")) return button;
    return nullptr;
  };
  ASSERT_TRUE(comes([&] { return resume() && resume()->isVisible(); }));
  EXPECT_EQ(copied("letter.txt"), "");
  click(resume());
  ASSERT_TRUE(comes([&] { return copied("letter.txt") == "Dear Anna" && board.running().empty(); }));
  desktop.app().applicationWillTerminate();
}

}  // namespace
}  // namespace lumisk
