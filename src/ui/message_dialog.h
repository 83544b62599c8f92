#pragma once

#include <functional>

#include "ui/dialog_window.h"

class QPushButton;

namespace lumisk {

// Alerts, messages, path problems, ends of runs, and questions with two buttons.
class MessageDialog : public DialogWindow {
 public:
  MessageDialog(DialogDesk& desk, const DialogItem& item, std::function<void()> openLog);
  void update(const DialogItem& item, WallTime now) override;

 private:
  ThemePicture* picture_;
  QLabel* heading_;
  QLabel* body_;
  QLabel* path_;
  QLabel* times_;
  QLabel* earlier_;
  QPushButton* accept_;
  QPushButton* refuse_;
};

}  // namespace lumisk
