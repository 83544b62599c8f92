#include <fmt/format.h>

#include <QDialog>
#include <QImage>
#include <QLineEdit>
#include <filesystem>
#include <fstream>
#include <thread>

#include "engine/tagged_name.h"
#include "log/log_file.h"
#include "platform/calendar_date.h"
#include "screenshots/scenes.h"
#include "support/fake_clock.h"
#include "support/temp_tree.h"
#include "ui/dialog_windows.h"

namespace lumisk::test {
namespace {

using namespace std::chrono_literals;

// Lives until the next scene.
struct DialogStage {
  ~DialogStage() {
    desk.end();
    if (asking.joinable()) asking.join();
  }
  FakeClock clock{kSampleNow};
  MainLoop loop;
  DialogDesk desk{clock};
  DialogWindows windows{desk, clock, loop};
  std::thread asking;
};

template <class Fill>
void addDialog(Scenes& scenes, const char* name, Fill fill) {
  scenes.push_back({name, [fill](WindowSet&, FakeJobsBoard&) -> QWidget* {
                      // Never goes with the program: the application would have gone before.
                      static auto& stage = *new std::unique_ptr<DialogStage>;
                      stage.reset();
                      stage = std::make_unique<DialogStage>();
                      stage->windows.setOpenLog([](const std::string&) {});
                      fill(*stage);
                      return stage->windows.windowOf(stage->desk.items().back().id);
                    }});
}

ConflictSide sideOf(const std::string& path, std::uint64_t size, std::int64_t modified) {
  ConflictSide side{path, {}};
  side.status.type = FileType::kRegular;
  side.status.size = size;
  side.status.modified.seconds = modified;
  side.status.created.seconds = kSampleNow - 8'000'000;
  return side;
}

void paint(const std::string& path, QColor from, QColor to) {
  QImage image(1200, 800, QImage::Format_RGB32);
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const double part = (x + y) / 2000.0;
      image.setPixel(x, y,
                     qRgb(static_cast<int>(from.red() + (to.red() - from.red()) * part),
                          static_cast<int>(from.green() + (to.green() - from.green()) * part),
                          static_cast<int>(from.blue() + (to.blue() - from.blue()) * part)));
    }
  }
  image.save(QString::fromStdString(path), "JPG");
}

void askConflict(DialogStage& stage, const ConflictQuestion& question) {
  stage.asking = std::thread([&desk = stage.desk, question] { (void)desk.askConflict(question); });
  MainLoop::SourceHandle tick = stage.loop.every(5ms, [] {});
  stage.loop.serveUntil([&] { return !stage.desk.items().empty(); });
  stage.loop.serveUntil([&] { return stage.windows.windowOf(stage.desk.items().back().id) != nullptr; });
}

void addConflicts(Scenes& scenes) {
  addDialog(scenes, "conflict", [](DialogStage& stage) {
    askConflict(stage, {"Projects", "", "", sideOf("/home/anna/Projects/lecture/Notes.odt", 48'213, kSampleNow - 5'400),
                        sideOf("/media/anna/Backup/Projects/lecture/Notes.odt", 51'870, kSampleNow - 93'000)});
  });
  addDialog(scenes, "conflict-pictures", [](DialogStage& stage) {
    const std::string folder = newSampleFolder();
    makeTree(folder, {{"Photos", Dir{}}, {"Backup", Dir{{"Photos", Dir{}}}}});
    const std::string here = folder + "/Photos/Harbour.jpg", there = folder + "/Backup/Photos/Harbour.jpg";
    paint(here, {250, 190, 120}, {60, 90, 150});
    paint(there, {120, 200, 180}, {40, 60, 90});
    askConflict(stage, {"Photos", "", "", sideOf(here, 2'413'775, kSampleNow - 400),
                        sideOf(there, 2'401'118, kSampleNow - 4'000)});
  });
}

void addMessages(Scenes& scenes) {
  addDialog(scenes, "path-problem", [](DialogStage& stage) {
    const PathProblem problem{"Destination folder isn't writable or does not exist.", "/media/anna/Backup/Documents",
                              "Documents", 0};
    stage.desk.showPathProblem(problem);
    stage.clock.advance(3h);
    stage.desk.showPathProblem(problem);
  });
  addDialog(scenes, "warning", [](DialogStage& stage) {
    stage.desk.showMessage("Photos", "Warning",
                           "The destination /media/anna/Backup is at 97% capacity. Please free up more space or choose "
                           "a different destination for this Lumisk job.");
    stage.clock.advance(26h);
    stage.desk.showMessage("Photos", "Warning",
                           "You may have an incomplete backup because there is not enough free space.");
  });
  addDialog(scenes, "finish", [](DialogStage& stage) {
    stage.desk.showFinish({"Projects", "Synchronization has been completed.",
                           "Qel Lumisk will now monitor your source and target folders and keep their contents "
                           "synchronized."});
  });
  addDialog(scenes, "question", [](DialogStage& stage) {
    stage.asking = std::thread([&desk = stage.desk] {
      (void)desk.ask("Qel Lumisk", "Would you like Qel Lumisk to run at login?", "Yes", "No");
    });
    MainLoop::SourceHandle tick = stage.loop.every(5ms, [] {});
    stage.loop.serveUntil([&] { return !stage.desk.items().empty(); });
    stage.loop.serveUntil([&] { return stage.windows.windowOf(stage.desk.items().back().id) != nullptr; });
  });
  addDialog(scenes, "held-deletions", [](DialogStage& stage) {
    HeldDeletions held{"Documents", "documents", 341, {}};
    for (int i = 0; i < 40; ++i)
      held.paths.push_back(fmt::format("/media/anna/Backup/Documents/Taxes {}/Receipts", 2009 - i));
    stage.desk.showHeldDeletions(held);
  });
}

void writeSampleLog() {
  std::filesystem::create_directories(std::filesystem::path(jobLogPath("Documents")).parent_path());
  std::ofstream log(jobLogPath("Documents"));
  for (int minute = 0; minute < 40; ++minute) {
    const std::string at = fmt::format("2009-03-03  14:{:02}:05 : Documents: ", minute);
    log << at << "Synchronization started\n" << at << "source path     : /home/anna/Documents\n";
    if (minute % 9 == 4)
      log << at << "ERROR: Failed to get the attributes of \"/home/anna/Documents/Letters/draft.odt\"\n";
    log << at << "copied /home/anna/Documents/Letters/Invoice " << minute << ".odt\n";
    log << at << "Synchronization completion\n";
  }
}

QWidget* openRestore(WindowSet& windows, FakeJobsBoard& board) {
  const std::string folder = newSampleFolder();
  const std::int64_t day = 86'400;
  makeTree(folder,
           {{"Documents", Dir{{"Letters", Dir{{"Invoice.odt", File{"a"}}}},
                              {"Pictures", Dir{}},
                              {"Budget 2009.ods", File{std::string(31'200, 'x'), 0644, kSampleNow - 3'000}},
                              {"Thesis.odt", File{std::string(412'000, 'x'), 0644, kSampleNow - 7'000}}}},
            {"Backup", Dir{{"Documents", Dir{{"Letters", Dir{}},
                                             {"Old drafts", Dir{}},
                                             {"Thesis.odt", File{std::string(408'000, 'x'), 0644, kSampleNow - day}},
                                             {"Recipe.txt", File{"r"}}}},
                           {"Revision",
                            Dir{{"Documents", Dir{{revisionName("Thesis.odt", 1),
                                                   File{std::string(395'000, 'x'), 0644, kSampleNow - 3 * day}},
                                                  {revisionName("Thesis.odt", 2),
                                                   File{std::string(391'000, 'x'), 0644, kSampleNow - 9 * day}}}}}}}}});
  QUORVELPREFERENCEINFO job =
      newJobDefaults(board.list.empty() ? WallTime{} : WallTime(std::chrono::seconds(kSampleNow)));
  job.name = "Documents";
  job.uuidString = "documents";
  job.sourcePaths = {folder + "/Documents"};
  job.targetPaths = {folder + "/Backup"};
  board.list = {{"documents", jobToDictionary(job), false, {}}};
  return windows.openRestoreOfPath(folder + "/Documents/Thesis.odt");
}

}  // namespace

void addDialogScenes(Scenes& scenes) {
  addMessages(scenes);
  addConflicts(scenes);
  scenes.push_back({"log", [](WindowSet& windows, FakeJobsBoard&) {
                      writeSampleLog();
                      return windows.openLog("documents");
                    }});
  scenes.push_back({"log-filtered", [](WindowSet& windows, FakeJobsBoard&) {
                      writeSampleLog();
                      QWidget* const window = windows.openLog("documents");
                      window->findChild<QLineEdit*>()->setText(QStringLiteral("error"));
                      return window;
                    }});
  scenes.push_back({"restore", openRestore});
}

}  // namespace lumisk::test
