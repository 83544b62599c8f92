#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/result.h"

namespace lumisk {

// The commands that work on encrypted images, as argument vectors. Pure.
namespace image_commands {

using Arguments = std::vector<std::string>;

// Our own tool, as the engine and the faces call it; the password goes to its standard input.
[[nodiscard]] Arguments create(const std::string& tool, const std::string& volumeName, const std::string& basePath,
                               const std::string& size = "4g");
[[nodiscard]] Arguments mount(const std::string& tool, const std::string& imagePath);
[[nodiscard]] Arguments list(const std::string& tool);
[[nodiscard]] Arguments detach(const std::string& tool, const std::string& mountPoint);

// The same as command lines for display. They are never run: nothing with a name or a password in it goes through a
// shell.
[[nodiscard]] std::string replaceSpaceWithSlash(const std::string& path);
[[nodiscard]] std::string shellCreate(const std::string& password, const std::string& volumeName,
                                      const std::string& basePath);
[[nodiscard]] std::string shellMount(const std::string& password, const std::string& folder,
                                     const std::string& volumeName);
[[nodiscard]] std::string shellDetach(const std::string& mountPoint);

// What the tool itself calls. LUKS1 in one sparse file, by qemu-img(1); the open image is one file of plain blocks that
// qemu-storage-daemon(1) shows through FUSE, with a lock on the image for as long as the daemon lives.
[[nodiscard]] Arguments makeImage(const std::string& imagePath, std::uint64_t bytes);
struct Export {
  std::string imagePath;
  std::string blocksPath;  // the plain blocks; an empty file that must exist
  std::string pidFilePath;
};
[[nodiscard]] Arguments openImage(const Export& open);
inline constexpr int kImageIsInUse = 75;  // openImage()'s exit status when somebody else has the lock
[[nodiscard]] Arguments makeFileSystem(const std::string& blocksPath, const std::string& volumeName, std::uint32_t user,
                                       std::uint32_t group);
[[nodiscard]] Arguments checkFileSystem(const std::string& blocksPath);
[[nodiscard]] Arguments mountBlocks(const std::string& blocksPath, const std::string& mountPoint);
[[nodiscard]] Arguments changePassword(const std::string& imagePath);  // old and new on standard input, a line each

// "4g", "512m", "100k", "2t", or bytes; anything else and what is below 64 MiB is an error, which says why.
[[nodiscard]] Result<std::uint64_t> sizeOf(const std::string& text);
// A file system's label: the name's first whole characters that fit into 16 bytes.
[[nodiscard]] std::string labelOf(const std::string& volumeName);

}  // namespace image_commands
}  // namespace lumisk
