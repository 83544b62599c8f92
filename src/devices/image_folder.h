#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devices/image_commands.h"
#include "platform/file_calls.h"
#include "platform/mount_table.h"

namespace lumisk {

struct OpenImage;

// What is kept of one image while it is open: <runtime folder>/<device>-<inode of the image>/ with "blocks" (the plain
// blocks, shown there by the daemon), "daemon.pid" and "state.plist" ("image-path", "mount-point").
class ImageFolder {
 public:
  // Makes the folder, only its owner's. The image must exist.
  static Result<ImageFolder> make(FileCalls& files, const std::string& runtimeFolder, const std::string& imagePath);
  ImageFolder(FileCalls& files, std::string path, std::string imagePath)
      : files_(&files), path_(std::move(path)), imagePath_(std::move(imagePath)) {}

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] const std::string& imagePath() const { return imagePath_; }
  [[nodiscard]] std::string blocksPath() const { return path_ + "/blocks"; }
  [[nodiscard]] image_commands::Export exported() const { return {imagePath_, blocksPath(), pidFilePath()}; }

  Result<void> prepare() const;                              // an empty file for the blocks to appear on
  Result<void> note(const std::string& mountPoint) const;    // what openImage() tells
  void clear() const;                                        // what prepare() and note() made
  [[nodiscard]] std::optional<OpenImage> openImage() const;  // as noted; whether it is mounted is not looked at
  [[nodiscard]] std::int64_t daemon() const;                 // 0 when there is none
  [[nodiscard]] bool isDaemonRunning() const;

 private:
  [[nodiscard]] std::string pidFilePath() const { return path_ + "/daemon.pid"; }
  [[nodiscard]] std::string statePath() const { return path_ + "/state.plist"; }

  FileCalls* files_;
  std::string path_;
  std::string imagePath_;  // empty where it is not known
};

namespace image_folder {

// Of an image's folder, below any runtime folder.
[[nodiscard]] std::string nameFor(const FileIdentity& image);
[[nodiscard]] Result<std::vector<ImageFolder>> all(FileCalls& files, const std::string& runtimeFolder);
[[nodiscard]] std::optional<MountEntry> mountAt(const std::string& path);
// ENOENT, or why this file is no image of ours.
Result<void> checkIsImage(FileCalls& files, const std::string& imagePath);
// The folder, empty and nothing mounted there; EBUSY otherwise.
Result<void> makeMountPoint(FileCalls& files, const std::string& mountPoint);
void removeMountPoint(FileCalls& files, const std::string& mountPoint);  // when it is empty

}  // namespace image_folder

}  // namespace lumisk
