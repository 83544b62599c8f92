#pragma once

#include "presenters/background.h"
#include "ui/dialog_window.h"

class QCheckBox;
class QRadioButton;

namespace lumisk {

struct ConflictSideTexts;

// A file that was changed on both sides: both, and which of them is to stay.
class ConflictDialog : public DialogWindow {
 public:
  ConflictDialog(DialogDesk& desk, const DialogItem& item, const Background& background);
  void update(const DialogItem&, WallTime) override {}  // a question does not change

 private:
  QWidget* makeSide(const ConflictSideTexts& texts, const std::string& path, BackgroundTask& picture);
  QLayout* makeChoices();
  void answer();

  struct Choice {
    ConflictChoice choice;
    QRadioButton* button;
  };
  std::vector<Choice> choices_;
  QCheckBox* forAll_;
  BackgroundTask sourcePicture_, targetPicture_;
};

}  // namespace lumisk
