#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

// Listening stream sockets that the service manager has opened for this process: sd_listen_fds(3), $LISTEN_PID and
// $LISTEN_FDS, both removed from the environment. Close-on-exec and non-blocking. Descriptors that are nothing of the
// kind are left out.
[[nodiscard]] std::vector<Descriptor> takeActivatedSockets();

// A copy of this process that does one piece of work and exits with what that returns; nothing of the parent runs in
// it afterwards. To be started from a process of one thread. The child is not ended with the handle.
class ForkedProcess {
 public:
  static Result<ForkedProcess> start(const std::function<int()>& work);

  [[nodiscard]] int descriptor() const { return ended_.get(); }  // readable when it has ended
  [[nodiscard]] bool hasEnded();                                 // true once: then nothing of it is left

 private:
  ForkedProcess(std::int32_t process, Descriptor ended) : process_(process), ended_(std::move(ended)) {}

  std::int32_t process_;
  Descriptor ended_;
};

// Until one of them can be read from, or the time is over; which ones.
[[nodiscard]] std::vector<int> waitForAny(const std::vector<int>& descriptors, std::chrono::milliseconds patience);

}  // namespace lumisk
