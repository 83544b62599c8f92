#pragma once

#include "presenters/volumes_presenter.h"
#include "ui/editor_section.h"
#include "ui/path_field.h"
#include "ui/volume_picker.h"

class QVBoxLayout;

namespace lumisk {

// What is copied: a list of folders and files to which more can be added or dropped; of a clone, one volume.
class SourcesSection : public EditorSection {
 public:
  SourcesSection(JobEditorPresenter& job, VolumesPresenter& volumes, ChooseFolders chooseFolders,
                 ChooseFolders chooseFiles);

 protected:
  void showJob() override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void rebuildRows();
  void setTargetOf(const std::string& source, const std::string& target);
  [[nodiscard]] QWidget* makeRow(std::size_t index);
  void add(const ChooseFolders& choose);

  VolumesPresenter& volumes_;
  ChooseFolders chooseTarget_;
  std::vector<std::string> shown_, shownTargets_;
  QWidget* folders_;
  QVBoxLayout* rows_;
  VolumePicker* picker_;
};

}  // namespace lumisk
