#include "platform/local_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace lumisk {
namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr int kWaitingConnections = 128;

Result<sockaddr_un> addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) return fail("name the socket", path, ENAMETOOLONG);
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

Result<Descriptor> newSocket(const std::string& path, int flags) {
  Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
  if (!socket.isOpen()) return fail("make the socket", path, errno);
  return socket;
}

int connectCode(int socket, const sockaddr_un& address) {
  return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno;
}

Result<Descriptor> lockBeside(const std::string& path) {
  const std::string name = path + ".lock";
  Descriptor lock(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
  if (!lock.isOpen()) return fail("open", name, errno);
  if (::flock(lock.get(), LOCK_EX | LOCK_NB) == 0) return lock;
  return fail("serve", path, errno == EWOULDBLOCK ? EADDRINUSE : errno);
}

// Asked besides the lock, whose file somebody may have removed: only a refusal proves that nobody listens.
Result<void> removeDeadSocket(const std::string& path, const sockaddr_un& address) {
  LUMISK_TRY(const Descriptor probe, newSocket(path, SOCK_NONBLOCK));
  const int code = connectCode(probe.get(), address);
  if (code == ENOENT) return {};
  if (code == 0 || code == EAGAIN) return fail("serve", path, EADDRINUSE);
  struct stat status {};
  if (code != ECONNREFUSED) return fail("serve", path, code);
  if (::lstat(path.c_str(), &status) != 0) return fail("serve", path, errno);
  if (!S_ISSOCK(status.st_mode)) return fail("serve", path, EEXIST);
  if (::unlink(path.c_str()) != 0) return fail("remove the socket", path, errno);
  return {};
}

// A socket takes the mode of its descriptor when it is bound, so that it is nobody else's for not even a moment.
Result<Descriptor> boundSocket(const std::string& path, const sockaddr_un& address) {
  LUMISK_TRY(Descriptor socket, newSocket(path, SOCK_NONBLOCK));
  if (::fchmod(socket.get(), kOwnerOnly) != 0 ||
      ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      ::listen(socket.get(), kWaitingConnections) != 0)
    return fail("listen", path, errno);
  return socket;
}

bool isOwnFolder(const std::string& path, mode_t forbidden) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::getuid() &&
         (status.st_mode & forbidden) == 0;
}

}  // namespace

Result<LocalListener> LocalListener::listenAt(const std::string& path) {
  LUMISK_TRY(const sockaddr_un address, addressOf(path));
  LUMISK_TRY(Descriptor lock, lockBeside(path));
  LUMISK_CHECK(removeDeadSocket(path, address));
  LUMISK_TRY(Descriptor socket, boundSocket(path, address));
  return LocalListener(path, std::move(lock), std::move(socket));
}

LocalListener::~LocalListener() {
  if (socket_.isOpen()) ::unlink(path_.c_str());
}

Result<Descriptor> LocalListener::accept() {
  auto socket = acceptConnection(socket_.get());
  if (!socket) return fail("accept", path_, socket.error().code);
  return socket;
}

Result<Descriptor> acceptConnection(int listener) {
  Descriptor socket(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket.isOpen()) return fail("accept", "", errno);
  return socket;
}

Result<Descriptor> connectTo(const std::string& path, std::chrono::milliseconds patience) {
  LUMISK_TRY(const sockaddr_un address, addressOf(path));
  LUMISK_TRY(Descriptor socket, newSocket(path, 0));
  const timeval limit{patience.count() / 1000, patience.count() % 1000 * 1000};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
  int code = 0;
  do code = connectCode(socket.get(), address);
  while (code == EINTR);
  if (code != 0) return fail("connect", path, code);
  return socket;
}

bool isPeerTrusted(int socket) {
  ucred peer{};
  socklen_t size = sizeof(peer);
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
  return peer.uid == ::getuid() || peer.uid == 0;
}

Result<std::size_t> receiveSome(int socket, char* buffer, std::size_t size) {
  const ssize_t received = ::recv(socket, buffer, size, MSG_DONTWAIT);
  if (received < 0) return fail("receive", "", errno == EINTR ? EAGAIN : errno);
  return static_cast<std::size_t>(received);
}

Result<std::size_t> sendSome(int socket, std::string_view bytes) {
  const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (sent < 0) return fail("send", "", errno == EINTR ? EAGAIN : errno);
  return static_cast<std::size_t>(sent);
}

Result<void> waitForSocket(int socket, SocketEvent event, std::chrono::steady_clock::time_point deadline) {
  using namespace std::chrono;
  pollfd awaited{socket, static_cast<short>(event == SocketEvent::kReadable ? POLLIN : POLLOUT), 0};
  for (;;) {
    const auto left = ceil<milliseconds>(deadline - steady_clock::now()).count();
    if (left <= 0) return fail("wait for an answer", "", ETIMEDOUT);
    const int ready = ::poll(&awaited, 1, static_cast<int>(std::min<std::int64_t>(left, 60'000)));
    if (ready > 0) return {};
    if (ready < 0 && errno != EINTR) return fail("wait for an answer", "", errno);
  }
}

Result<std::string> runtimeFolder() {
  constexpr mode_t kOthersMayWrite = 0022;
  constexpr mode_t kForOthers = 0077;
  const std::string user = std::to_string(::getuid());
  const char* const given = std::getenv("XDG_RUNTIME_DIR");
  for (const std::string& folder : {std::string(given ? given : ""), "/run/user/" + user})
    if (folder.starts_with('/') && isOwnFolder(folder, kOthersMayWrite)) return folder;
  const std::string own = "/tmp/lumisk-" + user;
  if (::mkdir(own.c_str(), 0700) != 0 && errno != EEXIST) return fail("make the folder", own, errno);
  if (!isOwnFolder(own, kForOthers)) return fail("use the folder", own, EPERM);
  return own;
}

}  // namespace lumisk
