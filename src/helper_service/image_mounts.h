#pragma once

#include <string>

#include "helper_service/job_file.h"
#include "platform/loop_device.h"
#include "platform/result.h"

namespace lumisk {

// Mounts what users show as plain blocks (their open encrypted images), and unmounts it for them again. Who mounted
// what is kept in a folder that only root can write, by device, so that nobody unmounts what is another's.
class ImageMounts {
 public:
  ImageMounts() : ImageMounts("/run/lumisk-helper", "/Volumes") {}
  ImageMounts(std::string recordsFolder, std::string volumesFolder)
      : recordsFolder_(std::move(recordsFolder)), volumesFolder_(std::move(volumesFolder)) {}

  // The mount point, <volumes folder>/<name>. EBUSY when something else is there. The owner must have checked the file
  // system: root reads nothing of it but by mounting.
  Result<std::string> mount(const std::string& blocksPath, const std::string& name, const JobOwner& owner) const;
  // EBUSY while files in it are open, unless it is detached at once. EPERM for what the owner (or root) has not had
  // mounted here, ENOENT for what is not mounted.
  Result<void> unmount(const std::string& mountPoint, Detach detach, const JobOwner& owner) const;

 private:
  Result<Descriptor> records() const;
  Result<void> note(const std::string& mountPoint, const JobOwner& owner, bool folderStood) const;

  std::string recordsFolder_;
  std::string volumesFolder_;
};

}  // namespace lumisk
