#include "platform/system_volumes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/descriptor.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/untrusted_file.h"
#include "platform/volume.h"

namespace lumisk {
namespace {

constexpr std::array kSystemPlaces = {"/",     "/usr",  "/usr/local", "/boot", "/boot/efi", "/efi",     "/bin",
                                      "/sbin", "/lib",  "/etc",       "/var",  "/var/lib",  "/var/log", "/var/tmp",
                                      "/tmp",  "/home", "/root",      "/opt",  "/srv",      "/run",     "/dev/shm"};

Result<std::uint64_t> deviceHolding(const std::string& path) {
  LUMISK_TRY(const MountEntry mount, volume::mountHolding(path));
  return volume::deviceOf(mount).number;
}

// The home folders of the machine's own accounts, the sixth field of passwd(5).
std::vector<std::string> homesOfAccounts() {
  constexpr int kHome = 6;
  std::vector<std::string> homes;
  std::ifstream file("/etc/passwd");
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    std::string home;
    for (int i = 0; i < kHome; ++i) std::getline(fields, home, ':');
    if (home.starts_with('/')) homes.push_back(std::move(home));
  }
  return homes;
}

// proc(5)'s swaps: a heading, then lines of file name, type and more; blanks in a name are written as "\040".
std::vector<std::string> swapPlaces() {
  std::vector<std::string> places;
  std::ifstream file("/proc/swaps");
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::string name = line.substr(0, line.find_first_of(" \t"));
    for (auto at = name.find("\\040"); at != std::string::npos; at = name.find("\\040")) name.replace(at, 4, " ");
    places.push_back(std::move(name));
  }
  return places;
}

Result<std::uint64_t> deviceOfSwap(const std::string& place) {
  struct stat status {};
  if (::stat(place.c_str(), &status) == 0 && S_ISBLK(status.st_mode)) return status.st_rdev;
  return deviceHolding(place);
}

std::string lockName(std::uint64_t device) {
  return std::to_string(major(device)) + "-" + std::to_string(minor(device)) + ".lock";
}

}  // namespace

Result<std::vector<std::uint64_t>> devicesOfRunningSystem(const std::vector<std::string>& alsoHolding) {
  std::vector<std::uint64_t> devices;
  std::vector<std::string> places(kSystemPlaces.begin(), kSystemPlaces.end());
  places.insert(places.end(), alsoHolding.begin(), alsoHolding.end());
  const std::vector<std::string> homes = homesOfAccounts();
  places.insert(places.end(), homes.begin(), homes.end());
  places.push_back(process::programPath());
  for (const std::string& place : places) {
    const auto device = deviceHolding(place);
    if (!device && device.error().code != ENOENT && device.error().code != ENOTDIR) return fail(device.error());
    if (device) devices.push_back(*device);
  }
  for (const std::string& place : swapPlaces()) {
    LUMISK_TRY(const std::uint64_t device, deviceOfSwap(place));
    devices.push_back(device);
  }
  return devices;
}

Result<std::uint64_t> blockDeviceNamed(const std::string& name) {
  const std::string path = name.find('/') == std::string::npos ? "/dev/" + name : name;
  std::error_code error;
  const std::string node = isPlainPath(path) ? std::filesystem::canonical(path, error).string() : std::string();
  struct stat status {};
  if (!path.starts_with("/dev/") || error || !node.starts_with("/dev/") || ::stat(node.c_str(), &status) != 0 ||
      !S_ISBLK(status.st_mode))
    return fail("use the device", name, ENOTBLK);
  return status.st_rdev;
}

Result<Descriptor> lockDevice(std::uint64_t device, LockKind kind, const std::string& folder) {
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return fail("make the folder", folder, errno);
  const std::string path = paths::join(folder, lockName(device));
  Descriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!lock.isOpen()) return fail("open", path, errno);
  const int operation = (kind == LockKind::kShared ? LOCK_SH : LOCK_EX) | LOCK_NB;
  if (::flock(lock.get(), operation) == 0) return lock;
  return fail("lock", path, errno == EWOULDBLOCK ? EBUSY : errno);
}

}  // namespace lumisk
