#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "devices/media_events.h"
#include "platform/main_loop.h"
#include "platform/result.h"
#include "platform/wakeable_sleep.h"

namespace lumisk {

// What is known of a mounted volume from the mount table alone; one that was mounted again is another.
struct MountedPlace {
  std::uint64_t mountId = 0;
  std::string path;

  friend auto operator<=>(const MountedPlace&, const MountedPlace&) = default;
};

// The places of all volumes that are mounted. Never waits for a disk or a server.
Result<std::set<MountedPlace>> mountedPlaces();

enum class DeviceMessage : std::int32_t { kDetached = 0, kAttached = 1 };

// Waits, after devices came or went, until the system has mounted or unmounted their volumes. A device is there some
// seconds before its volumes are, and a partition that nobody mounts never has one.
//
// Each message has the mounted volumes looked at `count` times, a second apart, on a thread of the object's own that
// sleeps while there is no message. Whenever volumes have come or gone since the last look, and at once after a device
// was detached, `callback` gets MediaEvent::kVolumesChanged from the main loop. Which device a volume belongs to is not
// asked: a volume that comes while several kinds of devices are waited for is told as USB before FireWire before other.
//
// Made and ended on the main thread; nothing is called after its end, which wakes the thread and waits for it.
class DeviceWaiter {
 public:
  using Places = std::function<Result<std::set<MountedPlace>>()>;  // called on the thread; an error changes nothing

  DeviceWaiter(MainLoop& loop, MediaCallback callback, void* context, Places places = mountedPlaces,
               const MakeSleep& makeSleep = makeRealSleep);
  ~DeviceWaiter();

  // Any thread. Of the media type the low byte counts.
  void addMessageIntoQueueEx(DeviceMessage message, int count, long mediaType);

 private:
  struct Members;
  std::unique_ptr<Members> members_;
};

// The messages that are being waited for. Pure.
class WaitingMessages {
 public:
  void add(DeviceMessage message, int count, MediaType type);
  [[nodiscard]] bool isEmpty() const { return waiting_.empty(); }
  // One look at the volumes; the parameters of the events to be sent, in order.
  [[nodiscard]] std::vector<long> look(const std::set<MountedPlace>& before, const std::set<MountedPlace>& after);

 private:
  struct Waiting {
    DeviceMessage message;
    int looksLeft;
    MediaType type;
  };
  [[nodiscard]] MediaType kind() const;

  std::vector<Waiting> waiting_;
  bool hasDetached_ = false;  // since the last look
};

}  // namespace lumisk
