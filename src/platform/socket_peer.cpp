#include "platform/socket_peer.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#ifndef SO_PEERPIDFD
#define SO_PEERPIDFD 77  // since Linux 6.5; asm-generic/socket.h
#endif

namespace lumisk {

Result<SocketPeer> peerOf(int socket) {
  ucred credentials{};
  socklen_t size = sizeof(credentials);
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return fail("know the peer", "", errno);
  SocketPeer peer{credentials.uid, credentials.gid, credentials.pid, {}};
  int number = -1;
  size = sizeof(number);
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERPIDFD, &number, &size) == 0) peer.processDescriptor = Descriptor(number);
  return peer;
}

bool isPeerGone(int socket) {
  pollfd asked{socket, POLLRDHUP, 0};
  return ::poll(&asked, 1, 0) > 0 && (asked.revents & (POLLHUP | POLLRDHUP | POLLERR | POLLNVAL)) != 0;
}

}  // namespace lumisk
