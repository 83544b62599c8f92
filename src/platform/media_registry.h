#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/result.h"

namespace lumisk {

// A block device as those see it who look for media to copy to. What is not known is false.
struct Medium {
  std::string name;      // of its file below /dev: "sdb1"; empty when it has none
  bool isMedia = true;   // a block device at all
  bool isWhole = false;  // a disk; one that holds a file system of its own, without partitions, is none
  bool isWritable = false;
  bool isRemovable = false;  // the medium can be taken out, or the disk hangs on a cable that is made for plugging
  bool isEjectable = false;

  friend bool operator==(const Medium&, const Medium&) = default;
};

struct MediumChange {
  enum class Kind : std::uint8_t { kAdded, kRemoved };
  Kind kind = Kind::kAdded;
  Medium medium;
};

// What a device is attached by.
enum class DeviceClass : std::uint8_t { kOther, kUsb, kFireWire };

// The system's registry of devices: those that are there, news of those that come and go, and the way from each up to
// the bus that it hangs on.
//
// The five operations of watching belong to one thread, and come in this order: connect, openMonitor, present, then
// changes whenever the descriptor is readable. What happens after openMonitor is not missed; no medium is told twice.
// find() and lineage() may be called from any thread, at any time.
class MediaRegistry {
 public:
  virtual ~MediaRegistry() = default;

  virtual Result<void> connect() = 0;
  virtual Result<void> openMonitor() = 0;
  virtual Result<std::vector<Medium>> present() = 0;
  [[nodiscard]] virtual int descriptor() const = 0;  // -1 when the monitor is not open
  // In the order in which they happened, without waiting. A medium that has gone has the properties that it had; one
  // that changed into another (a card was put into its reader) is removed and added.
  virtual std::vector<MediumChange> changes() = 0;
  virtual void close() = 0;  // of the monitor

  // The registry's entry of the name that a Medium has; the error ENODEV when there is none.
  [[nodiscard]] virtual Result<std::string> find(const std::string& name) const = 0;
  // The entry itself, what it hangs on, and so on upwards. Of a layer over other devices (an encrypted one) all of
  // theirs.
  [[nodiscard]] virtual Result<std::vector<DeviceClass>> lineage(const std::string& entry) const = 0;
};

// Through libudev: with udevd's own news, or where it does not run (containers, rescue systems) with the kernel's.
[[nodiscard]] std::unique_ptr<MediaRegistry> makeMediaRegistry();

}  // namespace lumisk
