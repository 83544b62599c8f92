#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

// Stream sockets in the file system, unix(7). Everything is close-on-exec. Thread-safe.

// A listener at a path that nothing but its owner can reach (mode 0600), and the lock that says that it lives. The
// socket of a dead process is replaced; EADDRINUSE while a live one serves the path. The lock is a file beside the
// socket, PATH.lock, which stays (flock(2)): without it two that start at once could each remove the other's socket.
class LocalListener {
 public:
  static Result<LocalListener> listenAt(const std::string& path);
  LocalListener(LocalListener&& other) noexcept = default;
  LocalListener& operator=(LocalListener&& other) = delete;
  ~LocalListener();  // removes the socket

  // The next connection, non-blocking; EAGAIN when there is none.
  Result<Descriptor> accept();
  [[nodiscard]] int descriptor() const { return socket_.get(); }

 private:
  LocalListener(std::string path, Descriptor lock, Descriptor socket)
      : path_(std::move(path)), lock_(std::move(lock)), socket_(std::move(socket)) {}

  std::string path_;
  Descriptor lock_;
  Descriptor socket_;
};

// The next connection of a listening socket, non-blocking; EAGAIN when there is none.
Result<Descriptor> acceptConnection(int listener);

// Waits for a place in the listener's queue, at most `patience` (EAGAIN).
Result<Descriptor> connectTo(const std::string& path, std::chrono::milliseconds patience);

// Whether the other end ran as this process's user or root when the connection was made (SO_PEERCRED).
[[nodiscard]] bool isPeerTrusted(int socket);

// Never block, never raise SIGPIPE: EAGAIN when nothing can be moved. 0 bytes received: the other end has closed.
Result<std::size_t> receiveSome(int socket, char* buffer, std::size_t size);
Result<std::size_t> sendSome(int socket, std::string_view bytes);

enum class SocketEvent { kReadable, kWritable };
// ETIMEDOUT at the deadline.
Result<void> waitForSocket(int socket, SocketEvent event, std::chrono::steady_clock::time_point deadline);

// The user's own folder for sockets: $XDG_RUNTIME_DIR or /run/user/<uid>, where nobody else can write; else
// /tmp/lumisk-<uid>, made with mode 0700 and refused (EPERM) when it is anything but that.
Result<std::string> runtimeFolder();

}  // namespace lumisk
