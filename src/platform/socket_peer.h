#pragma once

#include <cstdint>

#include "platform/result.h"

namespace lumisk {

// The process at the other end of a stream socket as the kernel knows it, taken when the connection was made
// (SO_PEERCRED, unix(7)). The process number may belong to another by the time that it is looked at.
struct SocketPeer {
  std::uint32_t user = 0;
  std::uint32_t group = 0;
  std::int32_t process = 0;
};
Result<SocketPeer> peerOf(int socket);

// Whether the other end has closed the connection, or reads and writes no more.
[[nodiscard]] bool isPeerGone(int socket);

}  // namespace lumisk
