#include "platform/socket_peer.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace lumisk {

Result<SocketPeer> peerOf(int socket) {
  ucred credentials{};
  socklen_t size = sizeof(credentials);
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return fail("know the peer", "", errno);
  return SocketPeer{credentials.uid, credentials.gid, credentials.pid};
}

bool isPeerGone(int socket) {
  pollfd asked{socket, POLLRDHUP, 0};
  return ::poll(&asked, 1, 0) > 0 && (asked.revents & (POLLHUP | POLLRDHUP | POLLERR | POLLNVAL)) != 0;
}

}  // namespace lumisk
