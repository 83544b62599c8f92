#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace lumisk {

// One dictionary on a stream socket: its length as 32 bits in the machine's byte order, then that many bytes of an XML
// property list. A length that is out of range is the error EINVAL; a binary property list, and what does not parse to
// a dictionary, kNotADictionary.
inline constexpr std::uint32_t kLargestFrame = 1'048'576;  // without the length; both ends know it: do not change
inline constexpr int kNotADictionary = -4960;              // sent to other programs: do not change

[[nodiscard]] Result<std::string> frameOf(const PropertyList::Dictionary& dictionary);

// Puts frames together from pieces of any size. Holds no more than has arrived, whatever length was announced. After an
// error the stream is lost: every later call fails alike.
class FrameReader {
 public:
  // Takes from the front of `bytes` what belongs to the present frame; the dictionary once it is whole.
  Result<std::optional<PropertyList::Dictionary>> feed(std::string_view& bytes);
  [[nodiscard]] std::size_t missing() const;  // bytes that are known to be needed, at least 1
  [[nodiscard]] bool isHalfway() const { return !held_.empty(); }

 private:
  Result<void> checkLength();

  std::string held_;  // the length's bytes and what follows
  std::optional<Error> error_;
};

// On a stream socket, blocking until the deadline (ETIMEDOUT). Not a byte behind the frame is read. ECONNRESET when the
// other end closes before the frame is whole; EPIPE without the signal when it reads no more.
using Deadline = std::chrono::steady_clock::time_point;
Result<PropertyList::Dictionary> readDictionary(int socket, Deadline deadline);
Result<void> writeDictionary(int socket, const PropertyList::Dictionary& dictionary, Deadline deadline);

}  // namespace lumisk
