#include "devices/device_waiter.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "devices/volume_inventory.h"
#include "platform/mount_table.h"

namespace lumisk {
namespace {

constexpr std::chrono::seconds kBetweenLooks{1};

bool holdsAllOf(const std::set<MountedPlace>& places, const std::set<MountedPlace>& others) {
  return std::includes(places.begin(), places.end(), others.begin(), others.end());
}

MediaType typeOfParameter(long mediaType) {
  switch (mediaType & 0xFF) {
    case static_cast<long>(MediaType::kUsb):
      return MediaType::kUsb;
    case static_cast<long>(MediaType::kFireWire):
      return MediaType::kFireWire;
    default:
      return MediaType::kOther;
  }
}

}  // namespace

Result<std::set<MountedPlace>> mountedPlaces() {
  LUMISK_TRY(auto mounts, mountTable());
  std::set<MountedPlace> places;
  for (const MountEntry& mount : volumeMounts(std::move(mounts))) places.insert({mount.id, mount.mountPoint});
  return places;
}

void WaitingMessages::add(DeviceMessage message, int count, MediaType type) {
  if (count <= 0) return;
  waiting_.push_back({message, count, type});
  hasDetached_ = hasDetached_ || message == DeviceMessage::kDetached;
}

MediaType WaitingMessages::kind() const {
  const auto waitsFor = [&](MediaType type) {
    return std::any_of(waiting_.begin(), waiting_.end(),
                       [&](const Waiting& one) { return one.message == DeviceMessage::kAttached && one.type == type; });
  };
  if (waitsFor(MediaType::kUsb)) return MediaType::kUsb;
  return waitsFor(MediaType::kFireWire) ? MediaType::kFireWire : MediaType::kOther;
}

// New volumes first: whoever reads the whole list again because of the others must not take a new one for an old one.
std::vector<long> WaitingMessages::look(const std::set<MountedPlace>& before, const std::set<MountedPlace>& after) {
  const bool waitsForDevices = std::any_of(waiting_.begin(), waiting_.end(),
                                           [](const Waiting& one) { return one.message == DeviceMessage::kAttached; });
  const bool hasNew = !holdsAllOf(before, after);
  std::vector<long> parameters;
  if (hasNew && waitsForDevices) parameters.push_back(volumesMounted(kind()));
  if (!holdsAllOf(after, before) || hasDetached_ || (hasNew && !waitsForDevices))
    parameters.push_back(kVolumesUnmounted);
  hasDetached_ = false;
  for (Waiting& one : waiting_) --one.looksLeft;
  std::erase_if(waiting_, [](const Waiting& one) { return one.looksLeft == 0; });
  return parameters;
}

struct DeviceWaiter::Members {
  MainLoop& loop;
  const MediaCallback callback;
  void* const context;
  const Places places;
  const std::unique_ptr<WakeableSleep> sleep;
  const std::shared_ptr<bool> isThere = std::make_shared<bool>(true);  // ends on the main thread

  std::mutex mutex{};
  std::condition_variable changed{};
  WaitingMessages messages{};  // guarded by mutex
  bool mustEnd = false;        // guarded by mutex

  std::set<MountedPlace> known{};  // of the thread
  std::thread thread{};

  void run() {
    while (hasWork()) {
      look();
      sleep->sleep(kBetweenLooks);
    }
  }

  bool hasWork() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return mustEnd || !messages.isEmpty(); });
    return !mustEnd;
  }

  void look() {
    auto seen = places();
    std::set<MountedPlace> after = seen ? std::move(*seen) : known;
    std::vector<long> parameters;
    {
      const std::lock_guard guard(mutex);
      parameters = messages.look(known, after);
    }
    known = std::move(after);
    for (const long parameter : parameters) send(parameter);
  }

  void send(long parameter) {
    loop.perform([there = std::weak_ptr(isThere), to = callback, with = context, parameter] {
      if (!there.expired()) to(with, static_cast<std::int32_t>(MediaEvent::kVolumesChanged), parameter);
    });
  }
};

DeviceWaiter::DeviceWaiter(MainLoop& loop, MediaCallback callback, void* context, Places places,
                           const MakeSleep& makeSleep)
    : members_(new Members{loop, callback, context, std::move(places), makeSleep()}) {
  members_->known = members_->places().value_or(std::set<MountedPlace>());
  members_->thread = std::thread([members = members_.get()] { members->run(); });
}

DeviceWaiter::~DeviceWaiter() {
  {
    const std::lock_guard guard(members_->mutex);
    members_->mustEnd = true;
  }
  members_->changed.notify_one();
  members_->sleep->wake();
  members_->thread.join();
}

void DeviceWaiter::addMessageIntoQueueEx(DeviceMessage message, int count, long mediaType) {
  {
    const std::lock_guard guard(members_->mutex);
    members_->messages.add(message, count, typeOfParameter(mediaType));
  }
  members_->changed.notify_one();
}

}  // namespace lumisk
