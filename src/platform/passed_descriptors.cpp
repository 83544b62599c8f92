#include "platform/passed_descriptors.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "platform/local_socket.h"

namespace lumisk {
namespace {

constexpr std::size_t kSpace = CMSG_SPACE(sizeof(int) * kMostPassedDescriptors);

// One byte and the room for the descriptors beside it; msghdr points into it.
struct Envelope {
  char byte = 0;
  iovec part{&byte, 1};
  alignas(cmsghdr) std::array<char, kSpace> space{};
  msghdr message{};

  Envelope() {
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = space.data();
    message.msg_controllen = space.size();
  }
  Envelope(const Envelope&) = delete;
  Envelope& operator=(const Envelope&) = delete;
};

void putIn(Envelope& envelope, std::span<const int> descriptors) {
  envelope.message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
  cmsghdr* const header = CMSG_FIRSTHDR(&envelope.message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(descriptors.size_bytes());
  std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size_bytes());
}

// Everything that came, so that nothing stays open that was not asked for.
std::vector<Descriptor> takeOut(Envelope& envelope) {
  std::vector<Descriptor> taken;
  for (cmsghdr* header = CMSG_FIRSTHDR(&envelope.message); header; header = CMSG_NXTHDR(&envelope.message, header)) {
    if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int number = -1;
      std::memcpy(&number, CMSG_DATA(header) + i * sizeof(int), sizeof(int));
      taken.emplace_back(number);
    }
  }
  return taken;
}

bool mustTryAgain(int code) {
  return code == EAGAIN || code == EINTR;
}

}  // namespace

Result<void> sendDescriptors(int socket, std::span<const int> descriptors, Deadline deadline) {
  if (descriptors.empty() || descriptors.size() > kMostPassedDescriptors) return fail("pass descriptors", "", EINVAL);
  Envelope envelope;
  putIn(envelope, descriptors);
  for (;;) {
    LUMISK_CHECK(waitForSocket(socket, SocketEvent::kWritable, deadline));
    if (::sendmsg(socket, &envelope.message, MSG_DONTWAIT | MSG_NOSIGNAL) == 1) return {};
    if (!mustTryAgain(errno)) return fail("pass descriptors", "", errno);
  }
}

Result<std::vector<Descriptor>> receiveDescriptors(int socket, std::size_t expected, Deadline deadline) {
  if (expected == 0 || expected > kMostPassedDescriptors) return fail("take descriptors", "", EINVAL);
  for (;;) {
    LUMISK_CHECK(waitForSocket(socket, SocketEvent::kReadable, deadline));
    Envelope envelope;
    const ssize_t received = ::recvmsg(socket, &envelope.message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (received < 0 && mustTryAgain(errno)) continue;
    if (received < 0) return fail("take descriptors", "", errno);
    if (received == 0) return fail("take descriptors", "", ECONNRESET);
    auto taken = takeOut(envelope);
    if (taken.size() != expected || (envelope.message.msg_flags & MSG_CTRUNC) != 0)
      return fail("take descriptors", "", EBADMSG);
    return taken;
  }
}

Result<Pipe> makePipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return fail("make a pipe", "", errno);
  return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

bool hasHungUp(int readingEnd) {
  pollfd asked{readingEnd, POLLIN, 0};
  return ::poll(&asked, 1, 0) > 0 && (asked.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

}  // namespace lumisk
