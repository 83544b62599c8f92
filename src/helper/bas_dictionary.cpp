#include "helper/bas_dictionary.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "platform/local_socket.h"

namespace lumisk {
namespace {

int codeOf(const Result<void>& result) {
  return result ? 0 : result.error().code;
}

}  // namespace

int BASRead(int socket, char* buffer, std::size_t size, Deadline deadline) {
  while (size > 0) {
    if (const int code = codeOf(waitForSocket(socket, SocketEvent::kReadable, deadline)); code != 0) return code;
    const auto received = receiveSome(socket, buffer, size);
    if (!received && received.error().code == EAGAIN) continue;
    if (!received) return received.error().code;
    if (*received == 0) return ECONNRESET;
    buffer += *received;
    size -= *received;
  }
  return 0;
}

int BASWrite(int socket, const char* bytes, std::size_t size, Deadline deadline) {
  std::string_view left(bytes, size);
  while (!left.empty()) {
    if (const int code = codeOf(waitForSocket(socket, SocketEvent::kWritable, deadline)); code != 0) return code;
    const auto sent = sendSome(socket, left);
    if (!sent && sent.error().code == EAGAIN) continue;
    if (!sent) return sent.error().code;
    left.remove_prefix(*sent);
  }
  return 0;
}

int BASReadDictionary(int socket, PropertyList::Dictionary& dictionary, Deadline deadline) {
  auto read = readDictionary(socket, deadline);
  if (!read) return read.error().code;
  dictionary = std::move(*read);
  return 0;
}

int BASWriteDictionary(const PropertyList::Dictionary& dictionary, int socket, Deadline deadline) {
  return codeOf(writeDictionary(socket, dictionary, deadline));
}

int readAuthorization(int socket, Deadline deadline) {
  std::array<char, kAuthorizationSize> form{};
  if (const int code = BASRead(socket, form.data(), form.size(), deadline); code != 0) return code;
  return std::all_of(form.begin(), form.end(), [](char byte) { return byte == 0; }) ? 0 : EBADMSG;
}

int writeAuthorization(int socket, Deadline deadline) {
  constexpr std::array<char, kAuthorizationSize> form{};
  return BASWrite(socket, form.data(), form.size(), deadline);
}

}  // namespace lumisk
