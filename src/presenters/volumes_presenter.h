#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "devices/volume_inventory.h"
#include "presenters/background.h"

namespace lumisk {

// A volume as windows show it.
struct VolumeRow {
  Volume volume;
  std::string formatText;  // "Format: NTFS"
  std::string sizeText;    // "64.00 GB"
  std::string freeText;
  std::string usedText;
  std::string imagePath;  // of the encrypted image that is mounted here; empty: none
  bool isRemovable = false;
  bool isNetwork = false;
  bool isSystem = false;  // the one that the computer starts from

  [[nodiscard]] std::uint64_t usedBytes() const { return volume.bytes - std::min(volume.bytes, volume.freeBytes); }
  [[nodiscard]] double usedShare() const;  // 0..1
};
// "20.00 GB of 64.00 GB free"
[[nodiscard]] std::string freeSentence(const VolumeRow& row);

struct DiskRow {
  std::string name;    // "Samsung SSD 870 465.8 GB"
  std::string device;  // "/dev/sda"
};

struct VolumeList {
  std::vector<VolumeRow> volumes;  // removable ones first, then those of the network, the system's last
  std::vector<DiskRow> disks;
};
// Asks the system; may wait for a server that does not answer.
[[nodiscard]] VolumeList listedVolumes();
[[nodiscard]] VolumeRow volumeRow(const Volume& volume, bool isRemovable);
// The order in which volumes are offered: a stick is what people mean.
void sortForOffer(std::vector<VolumeRow>& volumes);

// The volumes and disks, looked up in the background. Main thread only.
class VolumesPresenter {
 public:
  using Lister = std::function<VolumeList()>;
  explicit VolumesPresenter(Background background, Lister lister = listedVolumes)
      : lister_(std::move(lister)), task_(std::move(background)) {}

  void refresh();
  [[nodiscard]] const VolumeList& list() const { return list_; }
  [[nodiscard]] bool isKnown() const { return isKnown_; }  // the first answer has come
  // Those that may serve as a target: not read-only, and not the ones that hold nothing but these sources.
  [[nodiscard]] std::vector<VolumeRow> targets(const std::vector<std::string>& sources) const;

  // Those that can be cloned, or become a clone: on a disk of this computer.
  [[nodiscard]] std::vector<VolumeRow> cloneSources() const;
  [[nodiscard]] std::vector<VolumeRow> cloneTargets(const std::vector<std::string>& sources) const;
  // Of the image that holds the path; null when none does.
  [[nodiscard]] const VolumeRow* imageHolding(const std::string& path) const;

  std::function<void()> changed = [] {};

 private:
  Lister lister_;
  BackgroundTask task_;
  VolumeList list_;
  bool isKnown_ = false;
};

}  // namespace lumisk
