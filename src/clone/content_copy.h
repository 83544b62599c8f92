#pragma once

#include <cstddef>
#include <vector>

#include "clone/clone_state.h"

namespace lumisk {

// The bytes of files. The two sides are never on one file system, so there is nothing to share: bytes are read and
// written. Holes stay holes. ECANCELED within one chunk of a cancel.
class ContentCopy {
 public:
  explicit ContentCopy(CloneState& state) : state_(state), buffer_(kChunk) {}

  // Into a new, empty file, which gets the size of `status`, or less where the source got shorter meanwhile.
  Result<void> copy(int from, const FileStatus& status, int to);
  // Whether two open files hold the same bytes, from their beginnings.
  Result<bool> isSame(int a, int b);

 private:
  // Larger ones are slower: they fall out of the processor's cache.
  static constexpr std::size_t kChunk = 256 * 1024;

  Result<void> copyAroundHoles(int from, std::uint64_t size, int to);
  Result<std::uint64_t> copySpan(int from, int to, std::uint64_t length);
  Result<void> writeAll(int to, std::size_t size);
  Result<std::size_t> fill(int file, std::byte* at);

  CloneState& state_;
  std::vector<std::byte> buffer_;
  std::vector<std::byte> second_;  // made when something is compared
};

}  // namespace lumisk
