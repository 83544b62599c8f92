#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QLineEdit>
#include <QProgressBar>
#include <functional>

#include "presenters/image_maker.h"
#include "ui/path_field.h"
#include "ui/widgets.h"

namespace lumisk {

// Makes an encrypted image for a job. Closing it while the image is being made gives the image up. The password leaves
// the fields for the tool alone.
class ImageDialog : public QDialog {
 public:
  ImageDialog(Background background, createDMGController::Tool tool, ChooseFolders chooseFolder, QWidget* parent);

  std::function<void(const MadeImage& image)> made = [](const MadeImage&) {};

 private:
  void makeFields(const ChooseFolders& chooseFolder);
  [[nodiscard]] QLineEdit* addField(QBoxLayout& column, const QString& name, QLineEdit* field);
  [[nodiscard]] ImageAnswers answers() const;
  void make();
  void setMaking(bool isMaking);

  ImageMaker maker_;
  PathField* folder_;
  QLineEdit *name_, *password_, *verify_;
  QCheckBox* keep_;
  QProgressBar* progress_;
  widgets::InlineMessage* message_;
  QPushButton* make_;
  QWidget* fields_;
};

}  // namespace lumisk
