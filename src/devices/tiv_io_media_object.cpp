#include "devices/tiv_io_media_object.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <utility>

#include "platform/volume.h"

namespace lumisk {
namespace {

constexpr int kStarted = 0;
constexpr int kFailed = -1;

int failed(const std::string& line) {
  std::puts(line.c_str());
  return kFailed;
}

// The first that tells decides, from the device itself upwards.
MediaType typeOf(const std::vector<DeviceClass>& lineage) {
  for (const DeviceClass one : lineage) {
    if (one == DeviceClass::kUsb) return MediaType::kUsb;
    if (one == DeviceClass::kFireWire) return MediaType::kFireWire;
  }
  return MediaType::kOther;
}

MediaType typeOr(MediaType otherwise, const Result<std::vector<DeviceClass>>& lineage) {
  return lineage ? typeOf(*lineage) : otherwise;
}

}  // namespace

int TivIOMediaObject::start(MediaCallback newCallback, void* newContext) {
  callback = newCallback;
  context = newContext;
  source_.reset();  // of an earlier start, whose monitor goes
  if (const auto done = registry_.connect(); !done)
    return failed(fmt::format("ERR: Couldn't create a master IOKit port({:08x})", done.error().code));
  if (!registry_.openMonitor()) return failed("Failed to create notification port!");
  const auto present = registry_.present();
  if (!present) return failed("Couldn't add device added notification");
  MediaIterator added(present->begin(), present->end());
  MyDeviceAddedCallback(*this, added);
  if (registry_.descriptor() < 0) return failed("Couldn't add device removed notification");
  source_ = loop_.whenReadable(registry_.descriptor(), [this] { deliverChanges(); });
  return kStarted;
}

void TivIOMediaObject::close() {
  source_.reset();
  registry_.close();
}

// In the order of the changes: what was exchanged quickly ends as it is.
void TivIOMediaObject::deliverChanges() {
  for (MediumChange& change : registry_.changes()) {
    MediaIterator iterator{std::move(change.medium)};
    const bool isAdded = change.kind == MediumChange::Kind::kAdded;
    (isAdded ? MyDeviceAddedCallback : MyDeviceRemovedCallback)(*this, iterator);
  }
}

void TivIOMediaObject::MyDeviceAddedCallback(TivIOMediaObject& reference, MediaIterator& iterator) {
  reference.deliver(iterator, MediaEvent::kAttached);
}

void TivIOMediaObject::MyDeviceRemovedCallback(TivIOMediaObject& reference, MediaIterator& iterator) {
  reference.deliver(iterator, MediaEvent::kDetached);
}

void TivIOMediaObject::deliver(MediaIterator& iterator, MediaEvent event) {
  while (!iterator.empty()) {
    const Medium medium = std::move(iterator.front());
    iterator.pop_front();
    bool isCandidate = false;
    const MediaType type = filterMessage(medium, isCandidate);
    if (isCandidate) callback(context, static_cast<std::int32_t>(event), static_cast<long>(type));
  }
}

MediaType TivIOMediaObject::filterMessage(const Medium& service, bool& isCandidate) const {
  isCandidate = service.isMedia && !service.isWhole && service.isWritable && service.isEjectable && service.isRemovable;
  if (!isCandidate || service.name.empty()) return MediaType::kOther;
  return filterDevice(service.name);
}

MediaType TivIOMediaObject::filterDevice(const std::string& bsdName) const {
  const auto entry = registry_.find(bsdName);
  return entry ? filterMediaType(*entry) : MediaType::kUsb;
}

MediaType TivIOMediaObject::filterMediaType(const std::string& entry) const {
  return typeOr(MediaType::kUsb, registry_.lineage(entry));
}

MediaType TivIOMediaObject::findeDeviceInfo(const std::string& bsdName) const {
  const auto entry = registry_.find(bsdName);
  return entry ? collectDeviceInfo(*entry) : MediaType::kOther;
}

MediaType TivIOMediaObject::collectDeviceInfo(const std::string& entry) const {
  return typeOr(MediaType::kOther, registry_.lineage(entry));
}

bool TivIOMediaObject::collectFolderInfo(const std::string& path) const {
  const auto mount = volume::mountHolding(path);
  if (!mount) return false;
  std::error_code error;
  const std::filesystem::path node = std::filesystem::canonical(volume::deviceOf(*mount).node, error);
  return !error && findeDeviceInfo(node.lexically_relative("/dev").string()) != MediaType::kOther;
}

}  // namespace lumisk
