#include "platform/activated_sockets.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace lumisk {
namespace {

constexpr int kFirstPassed = 3;  // SD_LISTEN_FDS_START
constexpr int kMostPassed = 16;

int numberIn(const char* name) {
  const char* const text = std::getenv(name);
  int number = 0;
  if (text) std::from_chars(text, text + std::string_view(text).size(), number);
  return number;
}

int socketOption(int socket, int option) {
  int value = -1;
  socklen_t size = sizeof(value);
  return ::getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

bool isListener(int socket) {
  return socketOption(socket, SO_DOMAIN) == AF_UNIX && socketOption(socket, SO_TYPE) == SOCK_STREAM &&
         socketOption(socket, SO_ACCEPTCONN) == 1;
}

}  // namespace

std::vector<Descriptor> takeActivatedSockets() {
  const int count = numberIn("LISTEN_PID") == ::getpid() ? std::min(numberIn("LISTEN_FDS"), kMostPassed) : 0;
  for (const char* name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) ::unsetenv(name);
  std::vector<Descriptor> listeners;
  for (int number = kFirstPassed; number < kFirstPassed + count; ++number) {
    ::fcntl(number, F_SETFD, FD_CLOEXEC);
    if (!isListener(number)) continue;
    ::fcntl(number, F_SETFL, ::fcntl(number, F_GETFL) | O_NONBLOCK);
    listeners.emplace_back(number);
  }
  return listeners;
}

Result<ForkedProcess> ForkedProcess::start(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child < 0) return fail("start a process", "", errno);
  if (child == 0) ::_exit(work());
  Descriptor ended(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  const int code = errno;
  if (ended.isOpen()) return ForkedProcess(child, std::move(ended));
  // A child that cannot be watched would never be counted off.
  ::kill(child, SIGKILL);
  while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  return fail("watch a process", "", code);
}

bool ForkedProcess::hasEnded() {
  return ::waitpid(process_, nullptr, WNOHANG) != 0;
}

std::vector<int> waitForAny(const std::vector<int>& descriptors, std::chrono::milliseconds patience) {
  std::vector<pollfd> asked;
  asked.reserve(descriptors.size());
  for (const int descriptor : descriptors) asked.push_back({descriptor, POLLIN, 0});
  std::vector<int> ready;
  int count = 0;
  do count = ::poll(asked.data(), asked.size(), static_cast<int>(patience.count()));
  while (count < 0 && errno == EINTR);
  for (const pollfd& one : asked)
    if (one.revents != 0) ready.push_back(one.fd);
  return ready;
}

}  // namespace lumisk
