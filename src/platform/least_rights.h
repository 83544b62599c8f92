#pragma once

#include "platform/result.h"

namespace lumisk::leastRights {

// For a program that runs as root and works for others, before its first thread: forgets the environment but for what
// the service manager says about sockets (sd_listen_fds(3)), goes to "/", makes files for itself only, leaves no core,
// cannot be traced, gains nothing by starting other programs, and keeps of root's capabilities those that mounting
// and writing a whole volume needs (capabilities(7)); what it starts has no more. Without root only the first half.
Result<void> keep();

}  // namespace lumisk::leastRights
