#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "platform/descriptor.h"
#include "platform/framed_dictionary.h"
#include "platform/result.h"

namespace lumisk {

inline constexpr std::size_t kMostPassedDescriptors = 16;

// Open descriptors over a stream socket: one byte with all of them as ancillary data (SCM_RIGHTS, unix(7)). Received
// ones are close-on-exec. EINVAL for none or too many; EBADMSG when others came than were expected. Blocking until the
// deadline (ETIMEDOUT).
Result<void> sendDescriptors(int socket, std::span<const int> descriptors, Deadline deadline);
Result<std::vector<Descriptor>> receiveDescriptors(int socket, std::size_t expected, Deadline deadline);

// A pipe, close-on-exec. Whoever holds the reading end learns by it when the last holder of the writing end has gone,
// however it went.
struct Pipe {
  Descriptor reading;
  Descriptor writing;
};
Result<Pipe> makePipe();
[[nodiscard]] bool hasHungUp(int readingEnd);

}  // namespace lumisk
