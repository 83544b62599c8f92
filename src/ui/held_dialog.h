#pragma once

#include "ui/dialog_window.h"
#include "ui/widgets.h"

class QListWidget;

namespace lumisk {

// Deletions that a run held back: which, and whether they are meant.
class HeldDialog : public DialogWindow {
 public:
  HeldDialog(DialogDesk& desk, const DialogItem& item);
  void update(const DialogItem& item, WallTime now) override;

 private:
  void release();

  QLabel* heading_;
  QLabel* body_;
  QListWidget* paths_;
  QLabel* more_;
  widgets::InlineMessage* refusal_;
  QPushButton* keep_;
  QPushButton* remove_;
};

}  // namespace lumisk
