#include "platform/framed_dictionary.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/local_socket.h"

namespace lumisk {
namespace {

constexpr std::size_t kLengthSize = sizeof(std::uint32_t);

std::uint32_t announcedLength(const std::string& frame) {
  std::uint32_t length = 0;
  std::memcpy(&length, frame.data(), kLengthSize);
  return length;
}

bool isLengthAllowed(std::size_t length) {
  return length > 0 && length <= kLargestFrame;
}

tl::unexpected<Error> notADictionary(std::string why) {
  return fail("read a message", "", kNotADictionary, std::move(why));
}

Result<PropertyList::Dictionary> dictionaryOfBody(std::string_view body) {
  if (body.starts_with("bplist")) return notADictionary("a binary property list");
  auto list = parsePropertyList(body);
  if (!list) return notADictionary(list.error().detail);
  if (list->kind() != PropertyList::Kind::kDictionary) return notADictionary("no dictionary");
  return std::move(list->mutableDictionary());
}

}  // namespace

Result<std::string> frameOf(const PropertyList::Dictionary& dictionary) {
  LUMISK_TRY(const std::string body, propertyListToXml(dictionary));
  if (!isLengthAllowed(body.size())) return fail("send a message", "", EINVAL, "it is too long");
  const auto length = static_cast<std::uint32_t>(body.size());
  std::string frame(kLengthSize, '\0');
  std::memcpy(frame.data(), &length, kLengthSize);
  return frame + body;
}

std::size_t FrameReader::missing() const {
  if (error_) return 1;
  if (held_.size() < kLengthSize) return kLengthSize - held_.size();
  return kLengthSize + announcedLength(held_) - held_.size();
}

Result<void> FrameReader::checkLength() {
  if (held_.size() < kLengthSize || isLengthAllowed(announcedLength(held_))) return {};
  return fail("read a message", "", EINVAL, "its length is out of range");
}

Result<std::optional<PropertyList::Dictionary>> FrameReader::feed(std::string_view& bytes) {
  if (error_) return fail(*error_);
  while (!bytes.empty()) {
    const std::size_t taken = std::min(missing(), bytes.size());
    held_.append(bytes.substr(0, taken));
    bytes.remove_prefix(taken);
    if (const auto checked = checkLength(); !checked) return fail(error_.emplace(checked.error()));
    if (held_.size() <= kLengthSize || missing() > 0) continue;
    auto dictionary = dictionaryOfBody(std::string_view(held_).substr(kLengthSize));
    held_ = {};
    if (!dictionary) return fail(error_.emplace(dictionary.error()));
    return std::move(*dictionary);
  }
  return std::nullopt;
}

Result<PropertyList::Dictionary> readDictionary(int socket, Deadline deadline) {
  FrameReader reader;
  std::array<char, 65536> buffer{};
  for (;;) {
    LUMISK_CHECK(waitForSocket(socket, SocketEvent::kReadable, deadline));
    const auto received = receiveSome(socket, buffer.data(), std::min(reader.missing(), buffer.size()));
    if (!received && received.error().code == EAGAIN) continue;
    if (!received) return fail(received.error());
    if (*received == 0) return fail("read a message", "", ECONNRESET);
    std::string_view bytes(buffer.data(), *received);
    LUMISK_TRY(auto dictionary, reader.feed(bytes));
    if (dictionary) return std::move(*dictionary);
  }
}

Result<void> writeDictionary(int socket, const PropertyList::Dictionary& dictionary, Deadline deadline) {
  LUMISK_TRY(const std::string frame, frameOf(dictionary));
  std::string_view left = frame;
  while (!left.empty()) {
    LUMISK_CHECK(waitForSocket(socket, SocketEvent::kWritable, deadline));
    const auto sent = sendSome(socket, left);
    if (!sent && sent.error().code == EAGAIN) continue;
    if (!sent) return fail(sent.error());
    left.remove_prefix(*sent);
  }
  return {};
}

}  // namespace lumisk
