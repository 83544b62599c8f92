#include "platform/media_registry.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string_view>

#include "platform/block_device.h"
#include "platform/udev_handle.h"

namespace lumisk {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRegistry = "the device registry";
constexpr const char* kSubsystem = "block";

std::string textOf(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

std::string property(udev_device* device, const char* key) {
  return textOf(udev_device_get_property_value(device, key));
}

bool hasAttribute(udev_device* device, const char* name, std::string_view value) {
  return textOf(udev_device_get_sysattr_value(device, name)) == value;
}

std::string sysPathOf(udev_device* device) {
  return textOf(udev_device_get_syspath(device));
}

// Where udevd has not looked into it (it does not run), its superblock is read.
bool holdsFileSystem(udev_device* device) {
  if (!property(device, "ID_PART_TABLE_TYPE").empty()) return false;
  if (udev_device_get_is_initialized(device) > 0 || !property(device, "ID_FS_USAGE").empty())
    return property(device, "ID_FS_USAGE") == "filesystem";
  return !hasAttribute(device, "size", "0") && block_device::holdsFileSystem(textOf(udev_device_get_devnode(device)));
}

bool isWritable(udev_device* device) {
  if (property(device, "ID_CDROM") == "1") return false;  // the drive may write, nobody mounts for it
  udev_device* const parent = udev_device_get_parent_with_subsystem_devtype(device, kSubsystem, "disk");
  return hasAttribute(device, "ro", "0") && (parent == nullptr || !hasAttribute(parent, "ro", "1"));
}

DeviceClass classOf(udev_device* device) {
  const std::string subsystem = textOf(udev_device_get_subsystem(device));
  if (subsystem == "usb") return DeviceClass::kUsb;
  return subsystem == "firewire" ? DeviceClass::kFireWire : DeviceClass::kOther;
}

constexpr int kDeepest = 8;  // layers over layers

void addLineage(udev* context, const std::string& entry, std::vector<DeviceClass>& classes, int depth) {
  const UdevHandle<udev_device> device(udev_device_new_from_syspath(context, entry.c_str()));
  for (udev_device* at = device.get(); at != nullptr; at = udev_device_get_parent(at)) classes.push_back(classOf(at));
  std::error_code error;
  if (depth == kDeepest) return;
  for (const auto& below : fs::directory_iterator(fs::path(entry) / "slaves", error)) {
    const fs::path folder = fs::canonical(below.path(), error);
    if (!error) addLineage(context, folder.string(), classes, depth + 1);
  }
}

bool canBeUnplugged(udev* context, udev_device* device) {
  const std::string entry = sysPathOf(device);
  const bool isImage = textOf(udev_device_get_sysname(device)).rfind("loop", 0) == 0;
  if (isImage || block_device::factsOfEntry(entry).isRemovable) return true;
  std::vector<DeviceClass> classes;
  addLineage(context, entry, classes, 0);
  return std::any_of(classes.begin(), classes.end(), [](DeviceClass one) { return one != DeviceClass::kOther; });
}

Medium mediumOf(udev* context, udev_device* device) {
  constexpr std::string_view kFolder = "/dev/";
  const std::string node = textOf(udev_device_get_devnode(device));
  Medium medium;
  medium.name = node.rfind(kFolder, 0) == 0 ? node.substr(kFolder.size()) : "";
  medium.isMedia = textOf(udev_device_get_subsystem(device)) == kSubsystem;
  medium.isWhole = textOf(udev_device_get_devtype(device)) != "partition" && !holdsFileSystem(device);
  medium.isWritable = isWritable(device);
  medium.isRemovable = canBeUnplugged(context, device);
  medium.isEjectable = medium.isRemovable;
  return medium;
}

class UdevMediaRegistry : public MediaRegistry {
 public:
  Result<void> connect() override;
  Result<void> openMonitor() override;
  Result<std::vector<Medium>> present() override;
  int descriptor() const override;
  std::vector<MediumChange> changes() override;
  void close() override { monitor_.reset(); }
  Result<std::string> find(const std::string& name) const override;
  Result<std::vector<DeviceClass>> lineage(const std::string& entry) const override;

 private:
  using Media = std::map<std::string, Medium>;  // by their places in /sys

  Result<Media> enumerate() const;
  void take(udev_device* device, std::vector<MediumChange>& changes);
  void set(const std::string& entry, const Medium& medium, std::vector<MediumChange>& changes);
  void forget(const std::string& entry, std::vector<MediumChange>& changes);
  void rescan(std::vector<MediumChange>& changes);

  UdevHandle<udev> udev_;
  UdevHandle<udev_monitor> monitor_;
  Media known_;  // of a device that has gone nothing can be asked any more
};

Result<void> UdevMediaRegistry::connect() {
  udev_.reset(udev_new());
  if (!udev_) return fail("open", kRegistry, errno);
  return {};
}

Result<void> UdevMediaRegistry::openMonitor() {
  // Without udevd nobody sends on its channel. Its socket tells, as it does libudev(3) itself.
  const char* const source = ::access("/run/udev/control", F_OK) == 0 ? "udev" : "kernel";
  monitor_.reset(udev_monitor_new_from_netlink(udev_.get(), source));
  if (!monitor_) return fail("watch", kRegistry, errno);
  constexpr int kBufferBytes = 8 << 20;  // an event takes up to some kilobytes; what does not fit costs a new listing
  udev_monitor_set_receive_buffer_size(monitor_.get(), kBufferBytes);
  int status = udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), kSubsystem, nullptr);
  if (status >= 0) status = udev_monitor_enable_receiving(monitor_.get());
  if (status >= 0) return {};
  monitor_.reset();
  return fail("watch", kRegistry, -status);
}

Result<UdevMediaRegistry::Media> UdevMediaRegistry::enumerate() const {
  const UdevHandle<udev_enumerate> list(udev_enumerate_new(udev_.get()));
  int status = list ? udev_enumerate_add_match_subsystem(list.get(), kSubsystem) : -ENOMEM;
  if (status >= 0) status = udev_enumerate_scan_devices(list.get());
  if (status < 0) return fail("list", kRegistry, -status);
  Media media;
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(list.get())) {
    const std::string path = textOf(udev_list_entry_get_name(entry));
    const UdevHandle<udev_device> device(udev_device_new_from_syspath(udev_.get(), path.c_str()));
    if (device) media[path] = mediumOf(udev_.get(), device.get());
  }
  return media;
}

Result<std::vector<Medium>> UdevMediaRegistry::present() {
  LUMISK_TRY(known_, enumerate());
  std::vector<Medium> media;
  media.reserve(known_.size());
  for (const auto& [entry, medium] : known_) media.push_back(medium);
  return media;
}

int UdevMediaRegistry::descriptor() const {
  return monitor_ ? udev_monitor_get_fd(monitor_.get()) : -1;
}

std::vector<MediumChange> UdevMediaRegistry::changes() {
  std::vector<MediumChange> changes;
  while (monitor_) {
    errno = 0;
    const UdevHandle<udev_device> device(udev_monitor_receive_device(monitor_.get()));
    if (device) {
      take(device.get(), changes);
    } else if (errno == ENOBUFS) {
      rescan(changes);
    } else {
      break;
    }
  }
  return changes;
}

void UdevMediaRegistry::take(udev_device* device, std::vector<MediumChange>& changes) {
  const std::string entry = sysPathOf(device);
  const std::string action = textOf(udev_device_get_action(device));
  if (action == "remove") {
    forget(entry, changes);
  } else if (action == "add" || action == "change") {
    set(entry, mediumOf(udev_.get(), device), changes);
  }
}

void UdevMediaRegistry::set(const std::string& entry, const Medium& medium, std::vector<MediumChange>& changes) {
  const auto known = known_.find(entry);
  if (known != known_.end() && known->second == medium) return;
  if (known != known_.end()) changes.push_back({MediumChange::Kind::kRemoved, known->second});
  known_[entry] = medium;
  changes.push_back({MediumChange::Kind::kAdded, medium});
}

void UdevMediaRegistry::forget(const std::string& entry, std::vector<MediumChange>& changes) {
  const auto known = known_.find(entry);
  if (known == known_.end()) return;
  changes.push_back({MediumChange::Kind::kRemoved, known->second});
  known_.erase(known);
}

// News were lost.
void UdevMediaRegistry::rescan(std::vector<MediumChange>& changes) {
  const auto media = enumerate();
  if (!media) return;
  const Media before = known_;
  for (const auto& [entry, medium] : before)
    if (media->count(entry) == 0) forget(entry, changes);
  for (const auto& [entry, medium] : *media) set(entry, medium, changes);
}

Result<std::string> UdevMediaRegistry::find(const std::string& name) const {
  const UdevHandle<udev> context(udev_new());
  std::string entry = name;
  std::replace(entry.begin(), entry.end(), '/', '!');
  const UdevHandle<udev_device> device(
      context ? udev_device_new_from_subsystem_sysname(context.get(), kSubsystem, entry.c_str()) : nullptr);
  if (!device) return fail("look up the device", name, ENODEV);
  return sysPathOf(device.get());
}

Result<std::vector<DeviceClass>> UdevMediaRegistry::lineage(const std::string& entry) const {
  const UdevHandle<udev> context(udev_new());
  std::vector<DeviceClass> classes;
  if (context) addLineage(context.get(), entry, classes, 0);
  if (classes.empty()) return fail("look up the device", entry, ENODEV);
  return classes;
}

}  // namespace

std::unique_ptr<MediaRegistry> makeMediaRegistry() {
  return std::make_unique<UdevMediaRegistry>();
}

}  // namespace lumisk
