#pragma once

#include <cstdint>
#include <string>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// One open trash folder.
struct TrashFolder {
  Descriptor files;
  Descriptor info;
  FileIdentity identity;  // of `files`
  std::string path;
  std::string top;  // paths below it are recorded relative to it; empty: all are recorded whole
};

// Finds and opens the trash folders of a volume, making them (for their owner only) where they are missing. EXDEV when
// the one that was asked for lies on another device.
class TrashFinder {
 public:
  enum class Missing {
    kMake,
    kLeave,  // for those who only look: nothing is made (ENOENT), and no device is asked for
  };
  TrashFinder(FileCalls& files, std::string fallbackFolder, Missing missing = Missing::kMake);

  // `folder` is open, on `device`, and holds what goes into the trash.
  Result<TrashFolder> home(std::uint64_t device, int folder);
  // The trash at the top of the volume that holds `folder`: ".Trash/<uid>" where the administrator prepared it as the
  // layout asks for, else ".Trash-<uid>".
  Result<TrashFolder> top(std::uint64_t device, int folder);
  Result<TrashFolder> fallback(std::uint64_t device, int folder);

 private:
  Result<void> requireDevice(int folder, std::uint64_t device);
  Result<void> requireOurs(int parent, int trash, const std::string& name);
  Result<Descriptor> openOrMakeIn(int parent, const std::string& name);
  Result<Descriptor> openOrMake(const std::string& path, std::uint64_t device);
  Result<TrashFolder> openTrash(int parent, const std::string& name, const std::string& parentPath,
                                const std::string& top, std::uint64_t device);
  Result<Descriptor> topOf(int folder);
  bool isSticky(int folder);

  FileCalls& files_;
  const std::string fallbackFolder_;
  const Missing missing_;
};

inline constexpr const char* kHomeTrashName = "Trash";
// Where the home trash is, whether or not there is one.
[[nodiscard]] std::string homeTrashPath();
// What the home trash is at the moment, in whatever folder it lies and whatever links lead there; its name tells
// nothing. ENOENT when there is none. A mere look: makes nothing.
[[nodiscard]] Result<FileIdentity> homeTrashIdentity(FileCalls& files);

// The path by which the system knows an open folder; empty when it has none that is short enough.
[[nodiscard]] std::string pathOfOpenFolder(int folder);

}  // namespace lumisk
