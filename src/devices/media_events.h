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

}  // namespace lumisk
