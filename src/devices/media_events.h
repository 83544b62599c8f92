#pragma once

#include <cstdint>

namespace lumisk {

// What the application is told of media: by the watcher (attached, detached) and by the device waiter (volumes
// changed).
enum class MediaEvent : std::int32_t { kAttached = 1, kDetached = 2, kVolumesChanged = 16 };

// By what the medium's device is attached: a disk image, an internal card reader and whatever else is no bus of these
// counts as other. The numbers are the parameters of events.
enum class MediaType : std::int32_t { kOther = 0, kUsb = 1, kFireWire = 2 };

// Receives (context, event, parameter) on the main thread; the context is handed back as it was given. The parameter of
// kAttached and kDetached is a MediaType; that of kVolumesChanged holds 1 in its low four bits when volumes were
// mounted and the MediaType in the next four, else 0. The result is ignored.
using MediaCallback = int (*)(void* context, std::int32_t event, long parameter);

// The parameter of kVolumesChanged, and back.
inline constexpr long kVolumesUnmounted = 0;
[[nodiscard]] constexpr long volumesMounted(MediaType type) {
  return 1 | static_cast<long>(type) << 4;
}
[[nodiscard]] constexpr bool areVolumesMounted(long parameter) {
  return (parameter & 0xF) == 1;
}
[[nodiscard]] constexpr int kindOfVolumes(long parameter) {
  return static_cast<int>(parameter >> 4 & 0xF);
}

// As it stands in the log.
[[nodiscard]] constexpr const char* mediaTypeLabel(long type) {
  if (type == static_cast<long>(MediaType::kUsb)) return "USB";
  return type == static_cast<long>(MediaType::kFireWire) ? "1394" : "IMG";
}

}  // namespace lumisk
