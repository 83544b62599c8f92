#pragma once

#include <string>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// Who mounts the blocks of an open image: only root can, so that everybody else asks somebody.
class ImageBlocksMounter {
 public:
  virtual ~ImageBlocksMounter() = default;
  // Why nothing can be mounted here at all, or success.
  virtual Result<void> isReady() = 0;
  // The mount point, which it makes, by the name of the volume. EBUSY when something else is there.
  virtual Result<std::string> mount(const std::string& blocksPath, const std::string& name) = 0;
  enum class How { kWhenUnused, kAtOnce };
  // EBUSY when it is in use. The mount point goes, too.
  virtual Result<void> unmount(const std::string& mountPoint, How how) = 0;
  // What a storage daemon that died has left: its blocks, which are mounted on a file.
  virtual Result<void> removeDeadBlocks(const std::string& blocksPath) = 0;
};

// For root, by the system's tools.
class RootImageMounter final : public ImageBlocksMounter {
 public:
  explicit RootImageMounter(FileCalls& files, std::string volumesFolder = "/Volumes")
      : files_(files), volumesFolder_(std::move(volumesFolder)) {}
  Result<void> isReady() override;
  Result<std::string> mount(const std::string& blocksPath, const std::string& name) override;
  Result<void> unmount(const std::string& mountPoint, How how) override;
  Result<void> removeDeadBlocks(const std::string& blocksPath) override;

 private:
  FileCalls& files_;
  const std::string volumesFolder_;
};

}  // namespace lumisk
