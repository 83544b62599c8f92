#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list.h"

namespace lumisk {

inline constexpr const char* kDestinationPathKey = "DESTINATIONPATH";
inline constexpr const char* kDmgFilePathKey = "DMGFILEPATH";

// The list of destinations: what stands beside each, and which are the volumes of encrypted images. Stateless, any
// thread; the lists of images are asked of the disk-image tool, whose answer is kept in the logs' folder
// ("lumiskTmpList.plist").
class dataListObject {
 public:
  // "Format: NTFS", of the file system that holds the path; nothing when that cannot be told.
  [[nodiscard]] static std::optional<std::string> getFileSystemTypeWithPath(const std::string& path);
  // "512 bytes", "2.5 KB", "1.00 GB": powers of 1024.
  [[nodiscard]] static std::string sizeWithGMKFormat(std::uint64_t bytes);

  // Image paths at even places, each followed by its mount point. Empty when the tool fails.
  [[nodiscard]] static std::vector<std::string> mountedDmgList();
  // Of each image one device path, from the answer that was kept last; nothing when none was.
  [[nodiscard]] static std::optional<std::vector<std::string>> mountedDMGBSDNameList();
  // {"DESTINATIONPATH", "DMGFILEPATH"}: the path, and the image file when the path is an image's mount point.
  [[nodiscard]] static PropertyList::Dictionary getDestinationDictionary(const std::string& destination);
  // Detaches the image mounted there and deletes its file. False when none is, or when it cannot be detached.
  static bool deleteDMGFileAtPath(const std::string& mountPoint);
};

enum class Journal : std::uint8_t { kNone, kKept };

// How users know a file system, by the name that the kernel has for it; "unknown" for all but a few. The kernel does
// not tell whether a mounted HFS+ volume keeps a journal.
[[nodiscard]] std::string fileSystemTypeText(std::string_view fileSystem, Journal journal = Journal::kNone);

}  // namespace lumisk
