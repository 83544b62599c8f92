#include "presenters/volumes_presenter.h"

#include <fmt/format.h>

#include <algorithm>

#include "devices/data_list_object.h"
#include "devices/mounted_images.h"
#include "platform/mount_table.h"
#include "platform/paths.h"
#include "platform/translation.h"
#include "platform/workspace.h"
#include "presenters/locale_text.h"

namespace lumisk {
namespace {

std::vector<VolumeRow> onDisks(std::vector<VolumeRow> volumes) {
  std::erase_if(volumes, [](const VolumeRow& row) { return !row.volume.device.starts_with("/dev/"); });
  return volumes;
}

}  // namespace

double VolumeRow::usedShare() const {
  if (volume.bytes == 0) return 0;
  return static_cast<double>(usedBytes()) / static_cast<double>(volume.bytes);
}

std::string freeSentence(const VolumeRow& row) {
  return filled(translated("{} of {} free"), row.freeText, row.sizeText);
}

VolumeRow volumeRow(const Volume& volume, bool isRemovable) {
  VolumeRow row;
  row.volume = volume;
  row.formatText = fmt::format("{}: {}", translated("Format"), fileSystemTypeText(volume.fileSystem));
  row.sizeText = dataListObject::sizeWithGMKFormat(volume.bytes);
  row.freeText = dataListObject::sizeWithGMKFormat(volume.freeBytes);
  row.usedText = dataListObject::sizeWithGMKFormat(row.usedBytes());
  row.isRemovable = isRemovable;
  row.isNetwork = isNetworkFileSystem(volume.fileSystem);
  row.isSystem = volume.path == "/";
  return row;
}

void sortForOffer(std::vector<VolumeRow>& volumes) {
  const auto rank = [](const VolumeRow& row) {
    if (row.isSystem) return 3;
    if (row.isRemovable) return 0;
    return row.isNetwork ? 1 : 2;
  };
  std::stable_sort(volumes.begin(), volumes.end(),
                   [&](const VolumeRow& a, const VolumeRow& b) { return rank(a) < rank(b); });
}

VolumeList listedVolumes() {
  VolumeList list;
  for (const Volume& volume : mountedVolumes()) {
    const auto info = workspace::fileSystemInfo(volume.path);
    list.volumes.push_back(volumeRow(volume, info && info->isRemovable));
  }
  const auto images = dataListObject::mountedDmgList();
  for (VolumeRow& row : list.volumes)
    if (std::size_t place = 0; isADMGVolume(row.volume.path, images, place)) row.imagePath = images.at(place);
  sortForOffer(list.volumes);
  for (const PropertyList& disk : getHardDiskDictArray())
    list.disks.push_back({disk[kDiskNameKey].text(), disk[kBSDNameKey].text()});
  return list;
}

void VolumesPresenter::refresh() {
  task_.start([this, lister = lister_](const BackgroundTask::Context& context) {
    context.tell([this, found = lister()] {
      list_ = found;
      isKnown_ = true;
      changed();
    });
  });
}

// The system's own comes first: it is what people clone.
std::vector<VolumeRow> VolumesPresenter::cloneSources() const {
  auto volumes = onDisks(list_.volumes);
  std::stable_partition(volumes.begin(), volumes.end(), [](const VolumeRow& row) { return row.isSystem; });
  return volumes;
}

std::vector<VolumeRow> VolumesPresenter::cloneTargets(const std::vector<std::string>& sources) const {
  return onDisks(targets(sources));
}

const VolumeRow* VolumesPresenter::imageHolding(const std::string& path) const {
  for (const VolumeRow& row : list_.volumes)
    if (!row.imagePath.empty() && paths::isInside(path, row.volume.path)) return &row;
  return nullptr;
}

std::vector<VolumeRow> VolumesPresenter::targets(const std::vector<std::string>& sources) const {
  std::vector<VolumeRow> offered;
  for (const VolumeRow& row : list_.volumes) {
    const bool holdsSource = std::any_of(sources.begin(), sources.end(), [&](const std::string& source) {
      return paths::isInside(source, row.volume.path);
    });
    const bool isForTheSystem = row.isSystem || row.volume.path.starts_with("/boot");
    if (!row.volume.isReadOnly && !isForTheSystem && !holdsSource) offered.push_back(row);
  }
  return offered;
}

}  // namespace lumisk
