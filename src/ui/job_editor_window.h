#pragma once

#include <QCheckBox>
#include <QLineEdit>
#include <QWidget>
#include <memory>

#include "presenters/image_maker.h"
#include "presenters/job_editor_presenter.h"
#include "presenters/target_room.h"
#include "presenters/volumes_presenter.h"
#include "ui/path_field.h"
#include "ui/widgets.h"
#include "ui/windows.h"

class QButtonGroup;
class QVBoxLayout;

namespace lumisk {

class MoreSection;
class QuestionBar;
class ScheduleSection;
class SourcesSection;
class TargetSection;

// What a job editor asks of the system and of dialogs that tests cannot click through; the defaults are the real ones.
struct JobEditorSeams {
  JobEditorSeams();

  ChooseFolders chooseFolders;  // sources
  ChooseFolders chooseFiles;
  ChooseFolders chooseTarget;
  VolumesPresenter::Lister listVolumes = listedVolumes;
  std::function<Result<FileSystemInfo>(const std::string& path)> fileSystemInfo = workspace::fileSystemInfo;
  createDMGController::Tool imageTool = createDMGController::realTool();
  std::function<void(Background::Work)> startThread;  // empty: a thread of its own
};

// The page of one job: what, where, when, and more. Nothing is stored before the last button.
class JobEditorWindow : public QWidget {
 public:
  JobEditorWindow(UiContext& context, const JobEditorSeams& seams);
  ~JobEditorWindow() override;
  void beginNew(const std::vector<std::string>& sources);
  [[nodiscard]] bool beginEdit(const std::string& uuid);

 protected:
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;  // who comes back may have plugged something in

 private:
  void makePage();
  [[nodiscard]] QWidget* makeKinds();
  [[nodiscard]] QWidget* makeName();
  void refresh();
  void showKind();
  void showEnd();
  void askForEnd();  // the usual buttons
  void askToDiscard();
  void save(JobEditorPresenter::Meanwhile meanwhile);
  void startFirstRun();
  void saved();
  void makeImage();

  UiContext& context_;
  JobEditorSeams seams_;
  Background background_;
  JobEditorPresenter job_;
  VolumesPresenter volumes_;
  TargetRoomPresenter room_;
  JobsBoard::Observation observation_;

  QVBoxLayout* page_ = nullptr;
  QLabel* title_ = nullptr;
  QWidget* kindBox_ = nullptr;
  QButtonGroup* kinds_ = nullptr;
  SourcesSection* sources_ = nullptr;
  TargetSection* target_ = nullptr;
  ScheduleSection* schedule_ = nullptr;
  MoreSection* more_ = nullptr;
  QLineEdit* name_ = nullptr;
  widgets::InlineMessage* nameMessage_ = nullptr;
  QCheckBox* startNow_ = nullptr;
  QuestionBar* end_ = nullptr;
  bool isDone_ = false;
  bool isAsking_ = false;
};

void addJobEditor(WindowSet& windows, const JobEditorSeams& seams = {});

}  // namespace lumisk
