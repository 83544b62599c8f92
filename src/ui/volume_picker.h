#pragma once

#include <QButtonGroup>
#include <QGridLayout>
#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "presenters/volumes_presenter.h"

namespace lumisk {

// Volumes to pick one of, as cards with their free room.
class VolumePicker : public QWidget {
 public:
  explicit VolumePicker(const QString& question, QWidget* parent = nullptr);
  void show(const std::vector<VolumeRow>& volumes, const std::string& chosenPath);

  std::function<void(const VolumeRow& volume)> picked = [](const VolumeRow&) {};

 private:
  void rebuild(const std::vector<VolumeRow>& volumes);

  QGridLayout* grid_;
  QButtonGroup* cards_;
  std::vector<VolumeRow> volumes_;
};

[[nodiscard]] std::string iconOf(const VolumeRow& volume);
[[nodiscard]] QString titleOf(const VolumeRow& volume);

}  // namespace lumisk
