#include <QAbstractButton>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>

#include "screenshots/scenes.h"
#include "ui/image_dialog.h"
#include "ui/job_editor_window.h"
#include "ui/preferences_window.h"
#include "ui/volumes_window.h"

namespace lumisk::test {
namespace {

VolumeRow sampleVolume(const std::string& name, const std::string& path, const std::string& fileSystem,
                       std::uint64_t gigabytes, std::uint64_t free, bool isRemovable) {
  return volumeRow({name, path, fileSystem, "/dev/sdb1", gigabytes << 30, free << 30, false}, isRemovable);
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

QWidget* newJob(WindowSet& windows) {
  addJobEditor(windows, sampleSeams());
  return windows.openNewJob();
}

void click(QWidget* window, const char* name) {
  if (auto* const button = window->findChild<QAbstractButton*>(QLatin1String(name))) button->click();
}

void scrollDown(QWidget* window) {
  QObject::connect(window->findChild<QScrollArea*>()->verticalScrollBar(), &QScrollBar::rangeChanged, window,
                   [window](int, int most) { window->findChild<QScrollArea*>()->verticalScrollBar()->setValue(most); });
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
  scenes.push_back({"editor-clone", [](WindowSet& windows, FakeJobsBoard&) {
                      QWidget* const window = newJob(windows);
                      click(window, "kind3");
                      return window;
                    }});
  scenes.push_back({"editor-problem", [](WindowSet& windows, FakeJobsBoard&) {
                      addJobEditor(windows, sampleSeams());
                      return windows.openJobEditor("photos");
                    }});
  scenes.push_back({"image", [](WindowSet& windows, FakeJobsBoard&) -> QWidget* {
                      QWidget* const window = newJob(windows);
                      click(window, "makeImage");
                      QWidget* const dialog = window->findChild<QDialog*>();
                      click(dialog, "make");
                      return dialog;
                    }});
  scenes.push_back({"volumes", [](WindowSet& windows, FakeJobsBoard&) {
                      addVolumesWindow(windows, sampleVolumes);
                      return windows.openVolumes();
                    }});
  scenes.push_back({"preferences", [](WindowSet& windows, FakeJobsBoard&) {
                      addPreferencesWindow(windows, {[] { return true; }, [](bool) { return Result<void>(); }});
                      return windows.openPreferences();
                    }});
}

}  // namespace lumisk::test
