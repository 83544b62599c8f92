#include "devices/image_commands.h"

#include <fmt/format.h>

#include <charconv>

#include "platform/byte_text.h"

namespace lumisk::image_commands {
namespace {

constexpr std::uint64_t kMegabyte = 1024 * 1024;
constexpr std::uint64_t kSmallestImage = 64 * kMegabyte;
constexpr std::size_t kLabelBytes = 16;  // ext4

// A comma separates the tool's options; a doubled one is a comma.
std::string optionValue(const std::string& text) {
  std::string doubled;
  for (const char c : text) doubled.append(c == ',' ? 2 : 1, c);
  return doubled;
}

std::uint64_t unitBytes(char unit) {
  switch (unit) {
    case 'k':
      return 1024;
    case 'm':
      return kMegabyte;
    case 'g':
      return 1024 * kMegabyte;
    case 't':
      return 1024 * 1024 * kMegabyte;
    default:
      return 0;
  }
}

constexpr const char* kSecret = "secret,id=password,file=/dev/stdin";

}  // namespace

Arguments create(const std::string& tool, const std::string& volumeName, const std::string& basePath,
                 const std::string& size) {
  return {tool,     "create", "-volname", volumeName, "-stdinpass", "-encryption", "-type",
          "SPARSE", "-size",  size,       "-fs",      "HFS+",       basePath};
}

Arguments mount(const std::string& tool, const std::string& imagePath) {
  return {tool, "mount", "-stdinpass", imagePath};
}

Arguments list(const std::string& tool) {
  return {tool, "info", "-plist"};
}

Arguments detach(const std::string& tool, const std::string& mountPoint) {
  return {tool, "detach", mountPoint};
}

std::string replaceSpaceWithSlash(const std::string& path) {
  std::string escaped;
  for (const char c : path) {
    if (c == ' ') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string shellCreate(const std::string& password, const std::string& volumeName, const std::string& basePath) {
  return fmt::format(
      "echo -n {}|hdiutil create -volname \"{}\" -encryption -stdinpass -type SPARSE -size 4g {} -fs HFS+", password,
      volumeName, replaceSpaceWithSlash(basePath));
}

std::string shellMount(const std::string& password, const std::string& folder, const std::string& volumeName) {
  return fmt::format("echo -n {}|hdiutil mount -stdinpass {}/{}.sparseimage", password, folder,
                     replaceSpaceWithSlash(volumeName));
}

std::string shellDetach(const std::string& mountPoint) {
  return "hdiutil detach " + replaceSpaceWithSlash(mountPoint);
}

Arguments makeImage(const std::string& imagePath, std::uint64_t bytes) {
  return {
      "qemu-img",           "create", "-q", "-f", "luks", "--object", kSecret, "-o", "key-secret=password", imagePath,
      std::to_string(bytes)};
}

// flock(1) keeps its descriptor open in what it runs, so the lock lasts as long as the daemon.
Arguments openImage(const Export& open) {
  return {"flock",
          "-n",
          "-E",
          std::to_string(kImageIsInUse),
          open.imagePath,
          "qemu-storage-daemon",
          "--daemonize",
          "--pidfile",
          open.pidFilePath,
          "--object",
          kSecret,
          "--blockdev",
          "driver=file,node-name=file,discard=unmap,filename=" + optionValue(open.imagePath),
          "--blockdev",
          "driver=luks,node-name=plain,file=file,key-secret=password,discard=unmap",
          "--export",
          "type=fuse,id=blocks,node-name=plain,writable=on,growable=off,allow-other=off,mountpoint=" +
              optionValue(open.blocksPath)};
}

Arguments makeFileSystem(const std::string& blocksPath, const std::string& volumeName, std::uint32_t user,
                         std::uint32_t group) {
  return {"mkfs.ext4",
          "-q",
          "-F",
          "-m",
          "0",
          "-E",
          fmt::format("lazy_itable_init=1,nodiscard,root_owner={}:{}", user, group),
          "-L",
          labelOf(volumeName),
          blocksPath};
}

Arguments checkFileSystem(const std::string& blocksPath) {
  return {"e2fsck", "-p", blocksPath};
}

Arguments mountBlocks(const std::string& blocksPath, const std::string& mountPoint) {
  return {"mount", "-t", "ext4", "-o", "loop,nosuid,nodev", blocksPath, mountPoint};
}

Arguments changePassword(const std::string& imagePath) {
  return {"cryptsetup", "-q", "luksChangeKey", imagePath};
}

Result<std::uint64_t> sizeOf(const std::string& text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  const bool hasUnit = read.ec == std::errc() && read.ptr + 1 == end;
  const std::uint64_t unit = hasUnit ? unitBytes(*read.ptr) : 1;
  if (read.ec != std::errc() || (read.ptr != end && !hasUnit) || unit == 0) {
    return fail("make an image of this size", text, 0, "give a number with k, m, g or t behind it");
  }
  if (number > UINT64_MAX / 2 / unit) return fail("make an image of this size", text, 0, "too large");
  if (number * unit < kSmallestImage) return fail("make an image of this size", text, 0, "less than 64 MB");
  return number * unit;
}

std::string labelOf(const std::string& volumeName) {
  std::string label = volumeName.substr(0, kLabelBytes);
  while (!label.empty() && !isValidUtf8(label) && isValidUtf8(volumeName)) label.pop_back();
  return label;
}

}  // namespace lumisk::image_commands
