#include "platform/block_device.h"

#include <blkid/blkid.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>

#include "platform/udev_handle.h"

namespace lumisk::block_device {
namespace {

namespace fs = std::filesystem;

struct ProbeDeleter {
  void operator()(blkid_struct_probe* probe) const { blkid_free_probe(probe); }
};

// The first line of a small file, without the blanks around it; empty when there is none.
std::string lineOf(const fs::path& path) {
  std::string line;
  std::ifstream stream(path);
  std::getline(stream, line);
  const auto begin = line.find_first_not_of(' ');
  return begin == std::string::npos ? std::string() : line.substr(begin, line.find_last_not_of(' ') - begin + 1);
}

// "usb1" or "fw0": the buses that are made for plugging.
bool isPluggableBus(const fs::path& component) {
  const std::string name = component.string();
  const auto isNumbered = [&](std::string_view bus) {
    return name.size() > bus.size() && name.compare(0, bus.size(), bus) == 0 &&
           std::all_of(name.begin() + static_cast<std::ptrdiff_t>(bus.size()), name.end(),
                       [](char byte) { return byte >= '0' && byte <= '9'; });
  };
  return isNumbered("usb") || isNumbered("fw");
}

// Numbers of buses ("0x1af4") and the bus itself instead of a maker say nothing to people.
std::string makerOf(const fs::path& disk) {
  const std::string maker = lineOf(disk / "device" / "vendor");
  return maker == "ATA" || maker.rfind("0x", 0) == 0 ? "" : maker;
}

std::string modelOf(const fs::path& disk) {
  const std::string model = lineOf(disk / "device" / "model");
  return model.empty() ? lineOf(disk / "device" / "name") : model;  // of cards
}

Facts factsOfDisk(const fs::path& disk) {
  Facts found;
  const bool isCard = lineOf(disk / "device" / "type") == "SD";  // the kernel calls the reader's slot not removable
  found.isRemovable =
      isCard || lineOf(disk / "removable") == "1" || std::any_of(disk.begin(), disk.end(), isPluggableBus);
  const std::string maker = makerOf(disk);
  const std::string model = modelOf(disk);
  found.description = maker + (maker.empty() || model.empty() ? "" : " ") + model;
  return found;
}

// `folder`: of a disk, a partition, or a device that device-mapper (encryption, logical volumes) lays over others.
Facts factsOfFolder(const fs::path& folder, int depth) {
  std::error_code error;
  const fs::path disk = fs::exists(folder / "partition", error) ? folder.parent_path() : folder;
  Facts found = factsOfDisk(disk);
  constexpr int kDeepest = 8;
  if (depth == kDeepest) return found;
  for (const auto& below : fs::directory_iterator(disk / "slaves", error)) {
    const Facts facts = factsOfFolder(fs::canonical(below.path(), error), depth + 1);
    found.isRemovable = found.isRemovable || facts.isRemovable;
    if (found.description.empty()) found.description = facts.description;
  }
  return found;
}

// "mmcblk0boot0", "mmcblk0rpmb": parts of a built-in card for its firmware, which the kernel lists as disks.
bool isFirmwarePart(const std::string& name) {
  return name.rfind("mmcblk", 0) == 0 &&
         (name.find("boot") != std::string::npos || name.find("rpmb") != std::string::npos);
}

bool isDisk(const fs::path& folder) {
  constexpr const char* kOptical = "5";  // SCSI's type of a drive for compact discs and their successors
  std::error_code error;
  return fs::exists(folder / "device", error) && lineOf(folder / "device" / "type") != kOptical &&
         !isFirmwarePart(folder.filename().string());
}

Disk diskOf(const fs::path& folder) {
  constexpr std::uint64_t kSector = 512;  // the kernel's unit, whatever the disk's own is
  const Facts facts = factsOfFolder(folder, 0);
  std::string name = folder.filename().string();
  std::replace(name.begin(), name.end(), '!', '/');  // "cciss!c0d0"
  Disk disk;
  disk.node = "/dev/" + name;
  disk.description = facts.description.empty() ? name : facts.description;
  disk.bytes = std::strtoull(lineOf(folder / "size").c_str(), nullptr, 10) * kSector;
  disk.isRemovable = facts.isRemovable;
  return disk;
}

// udev writes what a file name cannot hold, and some more, as "\x2f".
std::string decoded(const std::string& name) {
  std::string text;
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (name.compare(at, 2, "\\x") == 0 && at + 4 <= name.size()) {
      text += static_cast<char>(std::strtol(name.substr(at + 2, 2).c_str(), nullptr, 16));
      at += 3;
    } else {
      text += name[at];
    }
  }
  return text;
}

std::string nameOfLink(const std::string& folder, std::uint64_t device) {
  std::error_code error;
  for (const auto& link : fs::directory_iterator(folder, error)) {
    struct stat status;
    if (::stat(link.path().c_str(), &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == device)
      return decoded(link.path().filename().string());
  }
  return {};
}

using Prober = std::unique_ptr<blkid_struct_probe, ProbeDeleter>;

// Reads superblocks, for what the flags of libblkid say.
Prober proberOf(const std::string& node, int wanted) {
  Prober probe(node.empty() ? nullptr : blkid_new_probe_from_filename(node.c_str()));
  const bool isReady = probe && blkid_probe_enable_superblocks(probe.get(), 1) == 0 &&
                       blkid_probe_set_superblocks_flags(probe.get(), wanted) == 0;
  return isReady ? std::move(probe) : Prober();
}

std::string probed(const std::string& node, const char* tag) {
  const Prober probe = proberOf(node, BLKID_SUBLKS_UUID | BLKID_SUBLKS_LABEL | BLKID_SUBLKS_TYPE);
  const char* value = nullptr;
  if (!probe || blkid_do_safeprobe(probe.get()) != 0) return {};
  return blkid_probe_lookup_value(probe.get(), tag, &value, nullptr) == 0 ? value : "";
}

// From udev's database, which every user may read.
std::string udevProperty(std::uint64_t device, const char* key) {
  const UdevHandle<::udev> udev(udev_new());
  if (!udev) return {};
  const UdevHandle<udev_device> found(udev_device_new_from_devnum(udev.get(), 'b', device));
  const char* const value = found ? udev_device_get_property_value(found.get(), key) : nullptr;
  return value == nullptr ? "" : value;
}

}  // namespace

Facts facts(std::uint64_t device, const std::string& sysFolder) {
  const std::string number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  std::error_code error;
  const fs::path folder = fs::canonical(fs::path(sysFolder) / "dev/block" / number, error);
  return error ? Facts() : factsOfFolder(folder, 0);
}

Facts factsOfEntry(const std::string& sysPath) {
  return factsOfFolder(sysPath, 0);
}

std::vector<std::string> filesBelow(std::uint64_t device, const std::string& sysFolder) {
  std::vector<std::string> files;
  const auto number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  std::vector<fs::path> waiting{fs::path(sysFolder) / "dev" / "block" / number};
  while (!waiting.empty()) {
    const fs::path entry = std::move(waiting.back());
    waiting.pop_back();
    if (std::string file = lineOf(entry / "loop" / "backing_file"); !file.empty()) files.push_back(std::move(file));
    std::error_code error;
    for (const auto& below : fs::directory_iterator(entry / "slaves", error)) waiting.push_back(below.path());
  }
  return files;
}

Result<std::string> nodeOf(std::uint64_t device, const std::string& sysFolder) {
  const fs::path numbers = fs::path(sysFolder) / "dev" / "block";
  std::error_code error;
  if (!fs::is_directory(numbers, error)) return std::string();
  const fs::path entry = numbers / (std::to_string(major(device)) + ":" + std::to_string(minor(device)));
  if (!fs::exists(entry, error)) return fail("find the device file of", entry, ENODEV);
  std::ifstream stream(entry / "uevent");
  constexpr std::string_view kKey = "DEVNAME=";
  for (std::string line; std::getline(stream, line);)
    if (line.starts_with(kKey)) return "/dev/" + line.substr(kKey.size());
  return std::string();
}

std::vector<Disk> disks(const std::string& sysFolder) {
  std::vector<Disk> found;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(fs::path(sysFolder) / "block", error)) {
    const fs::path folder = fs::canonical(entry.path(), error);
    if (error || !isDisk(folder)) continue;
    if (Disk disk = diskOf(folder); disk.bytes > 0) found.push_back(std::move(disk));
  }
  std::sort(found.begin(), found.end(), [](const Disk& a, const Disk& b) { return a.node < b.node; });
  return found;
}

std::string uuid(std::uint64_t device, const std::string& node) {
  const std::string name = nameOfLink("/dev/disk/by-uuid", device);
  return name.empty() ? probed(node, "UUID") : name;
}

std::string label(std::uint64_t device, const std::string& node) {
  const std::string name = nameOfLink("/dev/disk/by-label", device);
  return name.empty() ? probed(node, "LABEL") : name;
}

std::string type(std::uint64_t device, const std::string& node) {
  const std::string known = udevProperty(device, "ID_FS_TYPE");
  return known.empty() ? probed(node, "TYPE") : known;
}

bool holdsFileSystem(const std::string& node) {
  const auto probe = proberOf(node, BLKID_SUBLKS_USAGE);
  const char* usage = nullptr;
  return probe && blkid_probe_enable_partitions(probe.get(), 1) == 0 && blkid_do_safeprobe(probe.get()) == 0 &&
         blkid_probe_has_value(probe.get(), "PTTYPE") == 0 &&
         blkid_probe_lookup_value(probe.get(), "USAGE", &usage, nullptr) == 0 &&
         std::string_view(usage) == "filesystem";
}

}  // namespace lumisk::block_device
