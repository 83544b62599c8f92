#include <QAbstractButton>
#include <QApplication>
#include <QLineEdit>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include "screenshots/scenes.h"
#include "ui/image_dialog.h"
#include "ui/job_editor_window.h"
#include "ui/path_field.h"
#include "ui/preferences_window.h"
#include "ui/room_view.h"
#include "ui/volumes_window.h"

namespace lumisk::test {
namespace {

VolumeRow sampleVolume(const std::string& name, const std::string& path, const std::string& fileSystem,
                       std::uint64_t gigabytes, std::uint64_t free, bool isRemovable) {
  const std::string device = fileSystem == "nfs4" ? "desk:/anna" : "/dev/sdb1";
  return volumeRow({name, path, fileSystem, device, gigabytes << 30, free << 30, false}, isRemovable);
}

VolumeList sampleVolumes() {
  VolumeList list;
  list.volumes = {sampleVolume("Backup", "/media/anna/Backup", "ext4", 1863, 1204, true),
                  sampleVolume("STICK", "/media/anna/STICK", "vfat", 57, 31, true),
                  sampleVolume("desk", "/mnt/desk", "nfs4", 3726, 890, false),
                  sampleVolume("Private", "/Volumes/Private", "ext4", 4, 3, false),
                  sampleVolume("Root", "/", "ext4", 465, 112, false)};
  list.volumes[3].imagePath = "/home/anna/Private.sparseimage";
  list.disks = {{"Samsung SSD 870 465.8 GB", "/dev/sda"}, {"WD Elements 1863.0 GB", "/dev/sdb"}};
  return list;
}

// Folders that are there on every machine stand for the user's.
JobEditorSeams sampleSeams() {
  JobEditorSeams seams;
  seams.listVolumes = sampleVolumes;
  seams.chooseFolders = [] { return std::vector<std::string>{"/usr/share/doc", "/usr/share/man"}; };
  seams.chooseTarget = [] { return std::vector<std::string>{"/var/tmp"}; };
  return seams;
}

// As on a large screen; the one here is small.
QWidget* sized(QWidget* window, QSize size = {780, 800}) {
  window->resize(size);
  return window;
}

QWidget* newJob(WindowSet& windows) {
  addJobEditor(windows, sampleSeams());
  return sized(windows.openNewJob());
}

void click(QWidget* window, const char* name) {
  if (auto* const button = window->findChild<QAbstractButton*>(QLatin1String(name))) button->click();
}

void scrollDown(QWidget* window) {
  QObject::connect(window->findChild<QScrollArea*>()->verticalScrollBar(), &QScrollBar::rangeChanged, window,
                   [window](int, int most) { window->findChild<QScrollArea*>()->verticalScrollBar()->setValue(most); });
}

// A stick that cannot hold all of it.
QWidget* misfitRoom() {
  TargetRoom room;
  room.volumeName = "STICK";
  room.formatText = "Format: MS DOS FAT";
  room.bytes = 57ULL << 30;
  room.freeBytes = 31ULL << 30;
  room.isKnown = true;
  room.lossText = lossText(targetTraits("vfat"));
  room.need.bytes = 38ULL << 30;
  room.need.misfits = {{"/home/anna/Documents/Minutes: May.odt", Misfit::kNameNotAllowed},
                       {"/home/anna/Documents/readme.txt", Misfit::kSameName},
                       {"/home/anna/Videos/Holiday 2008.mkv", Misfit::kFileTooLarge}};
  room.need.misfitCount = room.need.misfits.size();
  static QPointer<QWidget> window;
  delete window;
  window = new QWidget;
  window->setObjectName(QStringLiteral("window"));
  window->setAttribute(Qt::WA_StyledBackground);
  auto* const layout = new QVBoxLayout(window);
  auto* const card = new widgets::Card;
  auto* const view = new RoomView;
  card->content()->addWidget(view);
  layout->addWidget(card);
  view->show(room);
  window->resize(700, 420);
  window->show();
  return window;
}

QWidget* filledJob(WindowSet& windows, const char* method) {
  QWidget* const window = newJob(windows);
  click(window, "addFolder");
  click(window, "chooseTarget");
  click(window, method);
  for (const char* const day : {"day1", "day2", "day3", "day4", "day5"}) click(window, day);
  return window;
}

}  // namespace

void addEditorScenes(Scenes& scenes) {
  scenes.push_back({"editor-new", [](WindowSet& windows, FakeJobsBoard&) { return newJob(windows); }});
  scenes.push_back({"editor-filled", [](WindowSet& windows, FakeJobsBoard&) { return filledJob(windows, "method2"); }});
  scenes.push_back({"editor-more", [](WindowSet& windows, FakeJobsBoard&) {
                      QWidget* const window = filledJob(windows, "method1");
                      click(window, "more");
                      scrollDown(window);
                      return window;
                    }});
  scenes.push_back({"editor-target", [](WindowSet& windows, FakeJobsBoard&) {
                      QWidget* const window = filledJob(windows, "method0");
                      for (int round = 0; round < 40; ++round) QApplication::processEvents(QEventLoop::AllEvents, 20);
                      auto* const room = window->findChild<QWidget*>(QStringLiteral("room"));
                      window->findChild<QScrollArea*>()->ensureWidgetVisible(room, 0, 140);
                      return window;
                    }});
  scenes.push_back({"room", [](WindowSet&, FakeJobsBoard&) -> QWidget* { return misfitRoom(); }});
  scenes.push_back({"editor-small", [](WindowSet& windows, FakeJobsBoard&) {
                      return sized(filledJob(windows, "method2"), {620, 1500});
                    }});
  scenes.push_back({"editor-clone", [](WindowSet& windows, FakeJobsBoard&) {
                      QWidget* const window = newJob(windows);
                      click(window, "kind3");
                      return window;
                    }});
  scenes.push_back({"editor-problem", [](WindowSet& windows, FakeJobsBoard&) {
                      addJobEditor(windows, sampleSeams());
                      return sized(windows.openJobEditor("photos"));
                    }});
  scenes.push_back({"image", [](WindowSet& windows, FakeJobsBoard&) -> QWidget* {
                      QWidget* const window = newJob(windows);
                      click(window, "makeImage");
                      QWidget* const dialog = window->findChild<QDialog*>();
                      if (auto* const folder = dialog->findChild<PathField*>(QStringLiteral("imageFolder")))
                        folder->setPath("/home/anna");
                      click(dialog, "make");
                      return dialog;
                    }});
  scenes.push_back({"volumes", [](WindowSet& windows, FakeJobsBoard&) {
                      addVolumesWindow(windows, sampleVolumes);
                      return windows.openVolumes();
                    }});
  scenes.push_back({"preferences", [](WindowSet& windows, FakeJobsBoard&) {
                      addPreferencesWindow(windows, {[] { return true; }, [](bool) { return Result<void>(); }});
                      return sized(windows.openPreferences(), {640, 760});
                    }});
}

}  // namespace lumisk::test
