#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devices/volume_inventory.h"
#include "helper/clone_volume_object.h"
#include "platform/mount_table.h"

namespace lumisk {

// What a clone asks of the machine. Called on the worker's thread.
struct CloneServices {
  std::function<std::unique_ptr<VolumeCloner>()> makeCloner{};  // one for each clone; empty: nothing is cloned here
  std::function<Result<std::vector<MountEntry>>()> mounts = mountTable;
  std::function<VolumeSize(const std::string& path)> sizeOf = bunGetVolumeSize;
  std::function<std::optional<std::string>(const std::string& path)> deviceOf = QelGetVolumeBSDName;
};

}  // namespace lumisk
