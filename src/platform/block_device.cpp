#include "platform/block_device.h"

#include <blkid/blkid.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

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

Facts factsOfDisk(const fs::path& disk) {
  Facts found;
  const bool isCard = lineOf(disk / "device" / "type") == "SD";  // the kernel calls the reader's slot not removable
  found.isRemovable =
      isCard || lineOf(disk / "removable") == "1" || std::any_of(disk.begin(), disk.end(), isPluggableBus);
  const std::string maker = lineOf(disk / "device" / "vendor");
  const std::string model = lineOf(disk / "device" / "model");
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

std::string probed(const std::string& node, const char* tag) {
  if (node.empty()) return {};
  const std::unique_ptr<blkid_struct_probe, ProbeDeleter> probe(blkid_new_probe_from_filename(node.c_str()));
  const char* value = nullptr;
  if (!probe || blkid_probe_enable_superblocks(probe.get(), 1) != 0) return {};
  if (blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_UUID | BLKID_SUBLKS_LABEL) != 0) return {};
  if (blkid_do_safeprobe(probe.get()) != 0) return {};
  return blkid_probe_lookup_value(probe.get(), tag, &value, nullptr) == 0 ? value : "";
}

}  // namespace

Facts facts(std::uint64_t device, const std::string& sysFolder) {
  const std::string number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  std::error_code error;
  const fs::path folder = fs::canonical(fs::path(sysFolder) / "dev/block" / number, error);
  return error ? Facts() : factsOfFolder(folder, 0);
}

std::string uuid(std::uint64_t device, const std::string& node) {
  const std::string name = nameOfLink("/dev/disk/by-uuid", device);
  return name.empty() ? probed(node, "UUID") : name;
}

std::string label(std::uint64_t device, const std::string& node) {
  const std::string name = nameOfLink("/dev/disk/by-label", device);
  return name.empty() ? probed(node, "LABEL") : name;
}

}  // namespace lumisk::block_device
