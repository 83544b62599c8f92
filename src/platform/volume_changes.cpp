#include "platform/volume_changes.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/fs.h>
#include <linux/openat2.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/child_process.h"
#include "platform/real_file_calls.h"

namespace lumisk::volume {

using system_calls::checked;

namespace {

struct Maker {
  const char* fileSystem;
  const char* force;         // mkfs asks nobody whether the old one may go
  std::size_t longestLabel;  // mke2fs(8), mkfs.xfs(8), mkfs.btrfs(8)
};
constexpr Maker kMakers[] = {{"ext4", "-F", 16}, {"xfs", "-f", 12}, {"btrfs", "-f", 255}};

const Maker* makerOf(const std::string& fileSystem) {
  const auto found = std::find_if(std::begin(kMakers), std::end(kMakers),
                                  [&](const Maker& maker) { return fileSystem == maker.fileSystem; });
  return found == std::end(kMakers) ? nullptr : found;
}

// Not looked up in PATH, which is somebody else's.
std::string programOf(const std::string& fileSystem) {
  for (const char* folder : {"/usr/sbin/", "/sbin/", "/usr/bin/", "/bin/"}) {
    std::string path = folder + ("mkfs." + fileSystem);
    if (::access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

std::vector<std::string> split(const std::string& options) {
  std::vector<std::string> parts;
  std::istringstream stream(options);
  for (std::string part; std::getline(stream, part, ',');) parts.push_back(part);
  return parts;
}

// mount(2)'s flags of the words that mountinfo has for them (proc(5)).
unsigned long flagsOf(const std::string& options) {
  static constexpr std::pair<const char*, unsigned long> kFlags[] = {
      {"ro", MS_RDONLY},        {"nosuid", MS_NOSUID},    {"nodev", MS_NODEV},           {"noexec", MS_NOEXEC},
      {"sync", MS_SYNCHRONOUS}, {"noatime", MS_NOATIME},  {"nodiratime", MS_NODIRATIME}, {"relatime", MS_RELATIME},
      {"dirsync", MS_DIRSYNC},  {"lazytime", MS_LAZYTIME}};
  unsigned long flags = 0;
  for (const std::string& option : split(options)) {
    for (const auto& [name, flag] : kFlags) flags |= option == name ? flag : 0;
  }
  return flags | ((flags & (MS_NOATIME | MS_RELATIME)) == 0 ? MS_STRICTATIME : 0);
}

// What mount(2) takes as text: all that is no flag, and nothing that names a place inside the file system that was.
std::string textOptions(const std::string& options) {
  std::string text;
  for (const std::string& option : split(options)) {
    const bool isFlag = option == "rw" || option == "ro" || option == "sync" || option == "dirsync" ||
                        option == "lazytime" || option == "seclabel" || option.starts_with("subvol");
    if (!isFlag) text += (text.empty() ? "" : ",") + option;
  }
  return text;
}

Result<Descriptor> openMountPoint(const std::string& path) {
  open_how how{};
  how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  const long opened = ::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how);
  if (opened < 0) return fail("open the mount point", path, errno);
  return Descriptor(static_cast<int>(opened));
}

std::string lastLine(const std::string& text) {
  const auto end = text.find_last_not_of(" \n");
  if (end == std::string::npos) return {};
  const auto begin = text.find_last_of('\n', end);
  return text.substr(begin + 1, end - begin);
}

}  // namespace

Result<std::string> labelOf(int descriptor) {
  std::array<char, FSLABEL_MAX + 1> label{};
  LUMISK_CHECK(checked("read the label", "", [&] { return ::ioctl(descriptor, FS_IOC_GETFSLABEL, label.data()); }));
  return std::string(label.data());
}

Result<void> setLabel(int descriptor, const std::string& label) {
  std::array<char, FSLABEL_MAX> bytes{};
  if (label.size() >= bytes.size()) return fail("set the label", label, EINVAL);
  std::memcpy(bytes.data(), label.data(), label.size());
  return checked("set the label", label, [&] { return ::ioctl(descriptor, FS_IOC_SETFSLABEL, bytes.data()); });
}

std::size_t longestLabel(const std::string& fileSystem) {
  const Maker* maker = makerOf(fileSystem);
  return maker == nullptr ? FSLABEL_MAX - 1 : maker->longestLabel;
}

Result<std::uint64_t> deviceSize(const std::string& node) {
  const Descriptor device(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  std::uint64_t bytes = 0;
  if (!device.isOpen() || ::ioctl(device.get(), BLKGETSIZE64, &bytes) != 0)
    return fail("ask for the size of", node, errno);
  return bytes;
}

Result<std::uint64_t> usedEntries(int descriptor) {
  struct statvfs raw;
  LUMISK_CHECK(checked("count the entries", "", [&] { return ::fstatvfs(descriptor, &raw); }));
  return raw.f_files - raw.f_ffree;
}

bool canMakeFileSystem(const std::string& fileSystem) {
  return makerOf(fileSystem) != nullptr && !programOf(fileSystem).empty();
}

Result<void> makeFileSystem(const std::string& fileSystem, const std::string& node, const std::string& label,
                            std::uint64_t entries) {
  constexpr const char* kOperation = "make a file system on";
  const Maker* maker = makerOf(fileSystem);
  const std::string program = programOf(fileSystem);
  if (maker == nullptr || program.empty()) return fail(kOperation, node, ENOENT);
  ChildRequest request;
  request.environment = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C"};
  request.arguments = {program, "-q", maker->force, "-L", label};
  LUMISK_TRY(const std::uint64_t bytes, deviceSize(node));
  constexpr std::uint64_t kUsualBytesForEntry = 16384;  // /etc/mke2fs.conf
  if (fileSystem == "ext4" && entries > bytes / kUsualBytesForEntry)
    request.arguments.insert(request.arguments.end(), {"-N", std::to_string(entries)});
  request.arguments.push_back(node);
  LUMISK_TRY(const ChildResult child, runChild(request));
  if (child.status != 0) return fail(kOperation, node, 0, lastLine(child.errors + child.output));
  return {};
}

Result<void> mountAgain(const MountEntry& before, const std::string& node, const std::string& fileSystem) {
  LUMISK_TRY(const Descriptor place, openMountPoint(before.mountPoint));
  const std::string path = "/proc/self/fd/" + std::to_string(place.get());
  const unsigned long flags = flagsOf(before.mountOptions + "," + before.fileSystemOptions);
  const auto mountWith = [&](const std::string& options) {
    return ::mount(node.c_str(), path.c_str(), fileSystem.c_str(), flags, options.c_str()) == 0;
  };
  if (fileSystem == before.fileSystem && mountWith(textOptions(before.fileSystemOptions))) return {};
  if (mountWith("")) return {};
  return fail("mount", before.mountPoint, errno);
}

std::vector<std::string> filesUsedByKernel() {
  std::vector<std::string> paths;
  std::string line;
  std::ifstream swaps("/proc/swaps");
  while (std::getline(swaps, line)) {
    if (line.starts_with("/")) paths.push_back(line.substr(0, line.find_first_of(" \t")));
  }
  std::error_code error;
  for (const auto& device : std::filesystem::directory_iterator("/sys/block", error)) {
    std::ifstream stream(device.path() / "loop" / "backing_file");
    if (std::getline(stream, line)) paths.push_back(line);
  }
  return paths;
}

Result<Descriptor> holdDevice(const std::string& node) {
  Descriptor device(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!device.isOpen()) return fail("open", node, errno);
  return device;
}

Result<void> checkAnswers(const std::string& node) {
  constexpr std::size_t kPart = 4096;
  alignas(kPart) std::array<char, kPart> part;
  const Descriptor device(::open(node.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC | O_NONBLOCK));
  if (!device.isOpen()) return fail("read from", node, errno);
  const ssize_t size = ::pread(device.get(), part.data(), part.size(), 0);
  // A disk with larger sectors answers in its own way.
  if (size > 0 || (size < 0 && errno == EINVAL)) return {};
  return fail("read from", node, size == 0 ? ENODEV : errno);
}

Result<void> checkUnused(const std::string& node) {
  const Descriptor device(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_EXCL));
  if (!device.isOpen()) return fail("take", node, errno);
  return {};
}

}  // namespace lumisk::volume
