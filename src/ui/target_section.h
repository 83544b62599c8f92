#pragma once

#include "presenters/target_room.h"
#include "presenters/volumes_presenter.h"
#include "ui/editor_section.h"
#include "ui/path_field.h"
#include "ui/room_view.h"
#include "ui/volume_picker.h"

namespace lumisk {

// Where it is copied: a volume that is offered, any folder, or an encrypted image; and the room there.
class TargetSection : public EditorSection {
 public:
  TargetSection(JobEditorPresenter& job, VolumesPresenter& volumes, TargetRoomPresenter& room,
                ChooseFolders chooseFolder, std::function<void()> makeImage);
  void showRoom();

 protected:
  void showJob() override;

 private:
  [[nodiscard]] QWidget* makePathLine(const ChooseFolders& chooseFolder, const std::function<void()>& makeImage);
  void take(const std::string& path);
  void showPicker(const std::string& target);
  [[nodiscard]] std::vector<VolumeRow> offered() const;

  VolumesPresenter& volumes_;
  TargetRoomPresenter& room_;
  VolumePicker* picker_;
  QWidget* pathLine_;
  PathField* path_;
  QPushButton* image_;
  QLabel* imageNote_;
  widgets::InlineMessage* cloneWarning_;
  RoomView* roomView_;
};

}  // namespace lumisk
