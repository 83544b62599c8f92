#include "ui/job_editor_window.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QComboBox>
#include <QSpinBox>
#include <QTimeEdit>

#include "presenters/job_kinds.h"
#include "presenters/schedule_sentence.h"
#include "ui/choice_card.h"
#include "ui/pie_chart.h"
#include "ui/preferences_window.h"
#include "ui/question_bar.h"
#include "ui/sources_section.h"
#include "ui/target_section.h"
#include "ui/volumes_window.h"
#include "ui/window_fixture.h"

namespace lumisk {
namespace {

using namespace test;

void settle() {
  for (int round = 0; round < 3; ++round) {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
  }
}

class JobEditorWindowTest : public WindowFixture {
 protected:
  JobEditorWindowTest() { addJobEditor(windows, seams()); }

  JobEditorSeams seams() {
    JobEditorSeams made;
    made.chooseFolders = [this] { return chosenFolders; };
    made.chooseTarget = [this] { return std::vector<std::string>{chosenTarget}; };
    made.listVolumes = [this] { return volumes; };
    made.fileSystemInfo = [](const std::string& path) -> Result<FileSystemInfo> {
      FileSystemInfo info;
      info.mountPoint = path;
      return info;
    };
    made.startThread = [](const Background::Work& work) { work(); };
    made.imageTool.create = [this](const std::string& basePath, const std::string& password, const std::string&) {
      return toldPassword = password, writeFile(basePath + ".sparseimage", ""), 0;
    };
    made.imageTool.mount = [](const std::string&, const std::string&) { return 0; };
    return made;
  }
  VolumeRow volume(const std::string& name) {
    return volumeRow({name, tree / name, "ext4", "/dev/sdb1", 4ULL << 30, 1ULL << 30, false}, true);
  }

  void open(const std::string& uuid = {}) {
    window = uuid.empty() ? windows.openNewJob() : windows.openJobEditor(uuid);
    settle();
  }
  template <class Widget = QWidget>
  Widget* find(const QString& name) {
    auto* const found = window ? window->findChild<Widget*>(name) : nullptr;
    EXPECT_NE(found, nullptr) << name.toStdString();
    return found;
  }
  void click(const QString& name) {
    auto* const widget = find(name);
    ASSERT_TRUE(widget && widget->isVisibleTo(window)) << name.toStdString();
    QTest::mouseClick(widget, Qt::LeftButton);
    settle();
  }
  void clickVolume(QWidget* section, const std::string& name) {
    for (ChoiceCard* const card : section->findChildren<ChoiceCard*>(QStringLiteral("volume")))
      if (card->text().toStdString() == name) QTest::mouseClick(card, Qt::LeftButton);
    settle();
  }
  template <class Section>
  Section* section() {
    for (auto* const card : window->findChildren<EditorSection*>())
      if (auto* const found = dynamic_cast<Section*>(card)) return found;
    return nullptr;
  }
  bool canSave() { return find<QPushButton>("save")->isEnabled(); }
  // A backup of s to t, made in the window.
  std::string madeJob() {
    open();
    click("addFolder");
    click("chooseTarget");
    click("save");
    EXPECT_EQ(board.added.size(), 1U);
    return board.list.at(0).uuid;
  }

  TempTree tree{{"s", Dir{{"f", File{"text"}}, {"sub", Dir{}}}}, {"t", Dir{}}, {"o", Dir{}}};
  std::vector<std::string> chosenFolders{tree / "s"};
  std::string chosenTarget = tree / "t", toldPassword;
  VolumeList volumes{{volume("t"), volume("o")}, {{"Disk 4.0 GB", "/dev/sdb"}}};
  QPointer<QWidget> window;
};

TEST_F(JobEditorWindowTest, EveryKindMadeByHand_IsStoredAsItWasEntered) {
  for (const JobKind& kind : jobKinds()) {
    open();
    click(QStringLiteral("kind%1").arg(static_cast<int>(kind.type)));
    EXPECT_FALSE(canSave());
    if (kind.type == JobType::kClone) {
      clickVolume(section<SourcesSection>(), "o");
    } else {
      click("addFolder");
    }
    clickVolume(section<TargetSection>(), "t");
    click("method2");
    click("day1");
    click("day3");
    auto* const time = find<QTimeEdit>("timeOfDay");
    time->setFocus();
    time->setSelectedSection(QDateTimeEdit::HourSection);
    QTest::keyClicks(time, "2105");
    EXPECT_EQ(find<QLabel>("scheduleSentence")->text(), "It runs every Monday and Wednesday at 21:05.");
    ASSERT_TRUE(canSave()) << kind.name << ": " << section<TargetSection>()->problemText().toStdString();
    click("save");

    ASSERT_FALSE(board.added.empty());
    const auto& job = board.added.back();
    EXPECT_EQ(job.jobType, kind.type);
    EXPECT_EQ(job.sourcePaths, std::vector<std::string>{tree / (kind.type == JobType::kClone ? "o" : "s")});
    EXPECT_EQ(job.targetPaths, std::vector<std::string>{tree / "t"});
    EXPECT_EQ(scheduleSentence(job), "every Monday and Wednesday at 21:05");
    EXPECT_EQ(board.calls.back(), "start " + job.uuidString);
    EXPECT_EQ(job.name.substr(0, 6), kind.type == JobType::kClone ? "o to t" : "s to t");
    EXPECT_TRUE(job.bFirstCopy && job.bActive && job.bMoveFileTrash && !job.uuidString.empty());
    EXPECT_EQ(job.fileConflictType, ConflictChoice::kNewerWins);
    EXPECT_TRUE(job.otherKeys.contains(kComputerNameKey));
    EXPECT_FALSE(window) << "it closes";
  }
  EXPECT_EQ(board.added.size(), jobKinds().size());
}

TEST_F(JobEditorWindowTest, MoreOptions_AreStored) {
  open();
  click("addFolder");
  click("chooseTarget");
  click("more");
  click("deletions");
  auto* const filter = find<QComboBox>("filter");
  filter->setFocus();
  QTest::keyClick(filter, Qt::Key_End);
  Q_EMIT filter->activated(filter->currentIndex());
  QTest::keyClicks(find("extensions"), "TMP, o");
  QTest::keyClick(find("revisions"), Qt::Key_Home);
  auto* const name = find<QLineEdit>("name");
  name->selectAll();
  QTest::keyClicks(name, "Mine");
  QTest::keyClick(window, Qt::Key_Return, Qt::ControlModifier);
  settle();
  ASSERT_EQ(board.added.size(), 1U);
  EXPECT_EQ(board.added[0].nAutoDeletion, 1);
  EXPECT_EQ(board.added[0].exclusionArray, (std::vector<std::string>{"tmp", "o"}));
  EXPECT_EQ(board.added[0].revision_method, RevisionMethod::kNone);
  EXPECT_EQ(board.added[0].name, "Mine");
}

TEST_F(JobEditorWindowTest, Problem_StandsAtItsFieldAndNothingIsStored) {
  (void)madeJob();
  board.calls.clear();
  open();
  click("addFolder");
  chosenTarget = tree / "s/sub";
  click("chooseTarget");
  EXPECT_TRUE(section<TargetSection>()->problemText().contains("lies inside a folder that is to be copied"));
  EXPECT_EQ(section<SourcesSection>()->problemText(), "");
  EXPECT_FALSE(canSave());
  QTest::mouseClick(find("save"), Qt::LeftButton);
  QTest::keyClick(window, Qt::Key_Return, Qt::ControlModifier);
  settle();
  EXPECT_TRUE(window);
  EXPECT_TRUE(board.calls.empty());

  auto* const path = find<QLineEdit>("targetPath");
  path->selectAll();
  QTest::keyClicks(path, QString::fromStdString(tree / "o"));
  QTest::keyClick(path, Qt::Key_Return);
  settle();
  EXPECT_EQ(section<TargetSection>()->problemText(), "");
  EXPECT_TRUE(canSave());

  dropOn(path, QByteArray::fromStdString("file://" + tree / "t"));
  settle();
  EXPECT_EQ(path->text().toStdString(), tree / "t");
}

TEST_F(JobEditorWindowTest, ClosedInTheMiddle_ChangesNothing) {
  const std::string uuid = madeJob();
  const PropertyList before = board.list[0].stored;
  board.calls.clear();
  open(uuid);
  window->close();
  settle();
  EXPECT_FALSE(window) << "nothing was entered";

  open(uuid);
  click("method3");
  QTest::keyClick(window, Qt::Key_Escape);
  settle();
  ASSERT_TRUE(window) << "it asks first";
  click("keep");
  EXPECT_TRUE(canSave());
  window->close();
  settle();
  click("discard");
  EXPECT_FALSE(window);

  open(uuid);
  auto* const target = find<QLineEdit>("targetPath");
  target->setFocus();
  target->selectAll();
  QTest::keyClicks(target, QString::fromStdString(tree / "o"));
  window->close();
  settle();
  ASSERT_TRUE(window) << "a path that is still being typed is an entry, too";
  click("discard");
  EXPECT_FALSE(window);
  EXPECT_EQ(board.list[0].stored, before);
  EXPECT_TRUE(board.calls.empty());
}

TEST_F(JobEditorWindowTest, JobChangedBySomebodyElse_IsStoredOnlyWhenTheUserSaysSo) {
  const std::string uuid = madeJob();
  open(uuid);
  click("method3");
  board.list[0].stored.mutableDictionary()[kSchedulingKey].mutableDictionary()[kMethodKey] = 1;
  board.calls.clear();
  click("save");
  ASSERT_TRUE(window);
  EXPECT_TRUE(board.calls.empty());
  click("mine");
  EXPECT_FALSE(window);
  EXPECT_EQ(board.list[0].stored[kSchedulingKey][kMethodKey].integer32(), 3);

  open(uuid);
  click("method0");
  board.list.clear();
  click("save");
  click("again");
  EXPECT_FALSE(window);
  ASSERT_EQ(board.list.size(), 1U);
  EXPECT_NE(board.list[0].uuid, uuid);
}

TEST_F(JobEditorWindowTest, DroppedFolder_KeepsTheBytesOfItsName) {
  makeTree(tree.path(), {{"odd\xff", Dir{}}});
  open();
  dropOn(section<SourcesSection>(), QByteArray::fromStdString("file://" + tree.path() + "/odd%FF\r\n"));
  settle();
  clickVolume(section<TargetSection>(), "t");
  click("save");
  ASSERT_EQ(board.added.size(), 1U);
  EXPECT_EQ(board.added[0].sourcePaths, std::vector<std::string>{tree / "odd\xff"});
}

TEST_F(JobEditorWindowTest, EncryptedImage_IsMadeAndBecomesTheTarget) {
  open();
  click("addFolder");
  click("makeImage");
  click("make");
  QTest::keyClicks(find("imageName"), "Private");
  auto* const folder = find<QLineEdit>("imageFolder");
  folder->selectAll();
  QTest::keyClicks(folder, QString::fromStdString(tree / "o"));
  QTest::keyClicks(find("password"), "secret");
  QTest::keyClicks(find("verify"), "secret");
  QTest::mouseClick(find("keepPassword"), Qt::LeftButton, {}, QPoint(8, 12));
  click("make");
  EXPECT_EQ(toldPassword, "secret");
  click("save");
  ASSERT_EQ(board.added.size(), 1U);
  EXPECT_EQ(board.added[0].dmgPath, tree / "o/Private.sparseimage");
  EXPECT_EQ(board.added[0].targetPaths, std::vector<std::string>{"/Volumes/Private"});
}

TEST_F(JobEditorWindowTest, EverythingThatTakesTheKeyboard_HasAName) {
  addVolumesWindow(windows, [this] { return volumes; });
  addPreferencesWindow(windows, {[] { return true; }, [](bool) { return Result<void>(); }});
  const auto check = [](QWidget* shown) {
    for (QWidget* const part : shown->findChildren<QWidget*>()) {
      const bool isInside = part->focusProxy() || part->objectName().startsWith(QStringLiteral("qt_")) ||
                            qobject_cast<QAbstractScrollArea*>(part);
      if (isInside || !(part->focusPolicy() & Qt::TabFocus)) continue;
      auto* const button = qobject_cast<QAbstractButton*>(part);
      EXPECT_FALSE(part->accessibleName().isEmpty() && (!button || button->text().isEmpty()))
          << part->metaObject()->className() << " " << part->objectName().toStdString();
    }
  };
  chosenFolders.push_back(tree / "o");
  open();
  click("addFolder");
  click("chooseTarget");
  click("more");
  click("makeImage");
  check(window);
  check(windows.openVolumes());
  check(windows.openPreferences());
}

TEST_F(JobEditorWindowTest, VolumesWindow_TellsItsPiesInWords) {
  addVolumesWindow(windows, [this] { return volumes; });
  QWidget* const shown = windows.openVolumes();
  ASSERT_TRUE(QTest::qWaitFor([&] { return shown->findChildren<QFrame*>(QStringLiteral("card")).size() == 3; }));
  std::vector<std::string> told;
  for (QWidget* const part : shown->findChildren<QWidget*>())
    if (dynamic_cast<PieChart*>(part)) told.push_back(part->accessibleName().toStdString());
  EXPECT_EQ(told, (std::vector<std::string>{"t: 1.00 GB of 4.00 GB free", "o: 1.00 GB of 4.00 GB free"}));
}

TEST_F(JobEditorWindowTest, Preferences_AreStoredAsTheyAreClicked) {
  bool startsAtLogin = false;
  addPreferencesWindow(windows,
                       {[&] { return startsAtLogin; }, [&](bool on) { return startsAtLogin = on, Result<void>(); }});
  window = windows.openPreferences();
  for (const char* const name : {"login", "SGWarnPendingJobs", "SGSuppressErrorMessages"})
    QTest::mouseClick(find(name), Qt::LeftButton, {}, QPoint(8, 12));
  EXPECT_TRUE(startsAtLogin);
  EXPECT_TRUE(board.preferences["SGWarnPendingJobs"].boolean());
  EXPECT_TRUE(board.preferences["SGSuppressErrorMessages"].boolean());
  auto* const brake = find<QSpinBox>("SGDeletionBrakePercent");
  brake->selectAll();
  QTest::keyClicks(brake, "30");
  QTest::keyClick(brake, Qt::Key_Return);
  EXPECT_EQ(board.preferences["SGDeletionBrakePercent"].integer32(), 30);
  board.refusal = "no";
  QTest::mouseClick(find("SGWarnPendingJobs"), Qt::LeftButton, {}, QPoint(8, 12));
  EXPECT_TRUE(find<QCheckBox>("SGWarnPendingJobs")->isChecked()) << "what was not stored is not shown";
}

}  // namespace
}  // namespace lumisk
