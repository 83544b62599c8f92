#pragma once

#include <atomic>

namespace lumisk {

// From here on being asked to end (SIGTERM, SIGINT) only sets the flag, for work that ends itself in good order.
const std::atomic<bool>& noteEndRequests();

}  // namespace lumisk
