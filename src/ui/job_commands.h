#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <vector>

#include "presenters/job_list_presenter.h"
#include "ui/windows.h"

class QAction;
class QMenu;
class QToolBar;
class QWidget;

namespace lumisk {

// What can be done with the selected jobs, as actions that the tool bar, the menus and the keyboard share. What is
// refused is said.
class JobCommands : public QObject {
  Q_OBJECT

 public:
  // `selected` names the jobs that are meant; `shown` is asked when a command refuses something.
  JobCommands(UiContext& context, QWidget& window);

  void setSelected(std::vector<std::string> uuids, const std::vector<const JobRow*>& rows);
  void addTo(QMenu& menu) const;  // those of jobs
  // Without a job there is nothing to do but to make one.
  void setJobCommandsVisible(bool visible);
  void addSeparator(QToolBar& bar);  // one that is visible with them

  QAction* newJob;
  QAction* startOrStop;
  QAction* pauseOrResume;
  QAction* edit;
  QAction* enableOrDisable;
  QAction* remove;
  QAction* log;
  QAction* restore;
  QAction* volumes;
  QAction* miniPanel;
  QAction* preferences;
  QAction* about;
  QAction* quit;

 private:
  QAction* make(const char* icon, const QString& text, const QKeySequence& keys, std::function<void()> work);
  void forEach(const std::function<JobsBoard::Refusal(const std::string&)>& change);
  void startOrStopAll();
  void pauseOrResumeAll();
  void enableOrDisableAll();
  void removeAll();
  void showAbout();
  void show(const JobActions& actions);

  UiContext& context_;
  QWidget& window_;
  std::vector<std::string> selected_;
  std::vector<std::string> pausable_;  // of them: whose runs are to be paused, or all of which are paused
  JobActions actions_;
  std::vector<QAction*> separators_;
};

}  // namespace lumisk
