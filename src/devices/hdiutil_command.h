#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "devices/disk_images.h"
#include "platform/property_list.h"

namespace lumisk {

// The command line of the disk-image tool:
//   create -volname NAME -stdinpass -encryption -type SPARSE -size SIZE -fs HFS+ BASE    makes BASE.sparseimage
//   mount -stdinpass IMAGE         (also: attach)
//   detach MOUNT-POINT-OR-IMAGE    (also: unmount, eject)
//   info [-plist]
//   chpass -stdinpass IMAGE        the old and the new password, a line each
// The password is all of standard input, a line break at its end included.
struct HdiutilIo {
  std::ostream& out;
  std::ostream& err;
  std::function<std::string()> readInput;  // to its end
  std::string workingFolder;
};

// Exit statuses of the tool.
enum class HdiutilStatus : int {
  kDone = 0,
  kFailed = 1,
  kWrongPassword = 2,
  kBusy = 16,
  kUsage = 64,
};

[[nodiscard]] HdiutilStatus runHdiutil(const std::vector<std::string>& arguments, DiskImages& images, HdiutilIo& io);

// {"images": [{"image-path", "system-entities": [{"dev-entry", "mount-point"}]}]}
[[nodiscard]] PropertyList imageInfo(const std::vector<OpenImage>& images);

}  // namespace lumisk
