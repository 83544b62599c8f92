#pragma once

#include <QWidget>
#include <map>
#include <string>

#include "ui/windows.h"

class QLabel;
class QVBoxLayout;

namespace lumisk {

class JobsModel;
class MiniRun;

// A small window above all others: the jobs that run, with their progress and a way to stop them, and the next run.
class MiniPanel : public QWidget {
  Q_OBJECT

 public:
  explicit MiniPanel(UiContext& context);

 private:
  void follow();
  void dropEnded();

  UiContext& context_;
  JobsModel& model_;
  QVBoxLayout* runs_;
  QLabel* idle_;
  QLabel* next_;
  std::map<std::string, MiniRun*> shown_;  // by the job's uuid; the layout's
};

void addMiniPanel(WindowSet& windows);

}  // namespace lumisk
