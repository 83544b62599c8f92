#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "devices/image_commands.h"
#include "devices/image_mounter.h"
#include "platform/clock.h"
#include "platform/file_calls.h"

namespace lumisk {

// An image that is open: its file's plain blocks are shown by a daemon, and the file system in them is mounted.
struct OpenImage {
  std::string imagePath;
  std::string mountPoint;
  std::string device;  // the loop device that is mounted
};

// Encrypted images: one sparse file each (LUKS1), with an ext4 file system inside. Everything goes through the system's
// own tools, the password on their standard input.
//
// Stateless but for what it keeps in the runtime folder, one folder for each open image, so that any process of the
// same user sees and closes what another opened; a lock there lets one at a time work on an image.
class DiskImages {
 public:
  DiskImages(FileCalls& files, Clock& clock, ImageBlocksMounter& mounter)
      : DiskImages(files, clock, mounter, standardRuntimeFolder()) {}
  DiskImages(FileCalls& files, Clock& clock, ImageBlocksMounter& mounter, std::string runtimeFolder);
  static std::string standardRuntimeFolder();  // /run/lumisk-images, or one in the user's own runtime folder

  struct NewImage {
    std::string imagePath;  // must not exist
    std::string volumeName;
    std::uint64_t bytes = 0;
  };
  // Whatever fails, no half-made image is left.
  Result<void> create(const NewImage& image, const std::string& password);
  // The mount point, <volumes folder>/<file name without extension>; also when it is mounted already. EACCES for a
  // wrong password, EBUSY when another program has the image or something else stands at the mount point. An image that
  // a crash left open is closed first; the file system's journal is replayed and checked.
  Result<std::string> mount(const std::string& imagePath, const std::string& password);
  // By its mount point or its image file. All data are on the disk when it returns. EBUSY while files in it are open:
  // then it stays mounted. EIO when the daemon had died: what was not yet on the disk is lost.
  Result<void> detach(const std::string& place);
  Result<void> changePassword(const std::string& imagePath, const std::string& before, const std::string& after);
  [[nodiscard]] Result<std::vector<OpenImage>> openImages();

 private:
  struct Working;  // the locked runtime folder of one image
  Result<Working> workOn(const std::string& imagePath);
  Result<void> open(const Working& work, const std::string& password);
  Result<void> close(const Working& work);
  Result<void> recover(const Working& work, const std::optional<OpenImage>& left);
  Result<void> makeInside(const NewImage& image, const std::string& password);
  Result<std::string> mountInside(const Working& work);
  Result<void> unmountInside(const Working& work, const OpenImage& image);
  Result<void> flush(const std::string& mountPoint);
  [[nodiscard]] bool waitFor(const std::function<bool()>& isSo);

  FileCalls& files_;
  Clock& clock_;
  ImageBlocksMounter& mounter_;
  const std::string runtimeFolder_;
};

// Why a password cannot be used, or "".
[[nodiscard]] std::string passwordProblem(const std::string& password);
// Why a volume cannot have this name, or "".
[[nodiscard]] std::string volumeNameProblem(const std::string& name);

}  // namespace lumisk
