#include "fuzz.h"
#include "platform/framed_dictionary.h"

namespace {

// What a reader makes of the stream when it arrives in pieces of one size, as the frames of what was read.
std::string readInPieces(std::string_view stream, std::size_t size) {
  lumisk::FrameReader reader;
  std::string read;
  while (!stream.empty()) {
    std::string_view piece = stream.substr(0, size);
    stream.remove_prefix(piece.size());
    while (!piece.empty()) {
      require(reader.missing() > 0 && reader.missing() <= lumisk::kLargestFrame, "needs an impossible number of bytes");
      const auto dictionary = reader.feed(piece);
      if (!dictionary) return read + std::to_string(dictionary.error().code);
      if (*dictionary) read += lumisk::frameOf(**dictionary).value_or("too long to be sent");
    }
  }
  return read;
}

}  // namespace

// The first byte is the size of the pieces: they make no difference.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
  require(readInPieces(stream, stream.size()) == readInPieces(stream, data[0] + 1U), "pieces read as something else");
  return 0;
}
