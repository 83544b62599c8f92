#pragma once

#include <QObject>
#include <QSystemTrayIcon>
#include <memory>

#include "ui/windows.h"

class QApplication;
class QMenu;

namespace lumisk {

struct JobRow;

// What holds the windows together: the icon in the desktop's tray where it has one, the appearance that the user chose,
// and what closing the main window means: with a tray the program goes on behind it, without one it ends, when the user
// agrees.
class Desktop : public QObject {
  Q_OBJECT

 public:
  // `mayQuit` asks the user, where there is something to ask.
  Desktop(QApplication& application, WindowSet& windows, std::function<bool()> mayQuit);
  ~Desktop() override;

  enum class Start { kWithWindow, kInBackground };
  void start(Start how);

 private:
  void setUpTray();
  void fillMenu();
  void addPause(const JobRow& row);
  void applyAppearance();
  void closeMain();
  void quit();

  QApplication& application_;
  WindowSet& windows_;
  std::function<bool()> mayQuit_;
  JobsBoard::Observation preferences_;
  std::unique_ptr<QMenu> menu_;
  std::unique_ptr<QSystemTrayIcon> tray_;  // null: this desktop has no tray
  std::string appearance_;                 // as stored, of what is shown; empty: the system's
  bool hasToldOfTray_ = false;
};

}  // namespace lumisk
