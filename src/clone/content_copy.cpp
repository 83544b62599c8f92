#include "clone/content_copy.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

namespace lumisk {
namespace {

bool hasHoles(const FileStatus& status) {
  return status.blocks < status.size / 512;
}

}  // namespace

Result<void> ContentCopy::copy(int from, const FileStatus& status, int to) {
  if (hasHoles(status)) return copyAroundHoles(from, status.size, to);
  LUMISK_CHECK(copySpan(from, to, status.size));
  return {};
}

Result<void> ContentCopy::copyAroundHoles(int from, std::uint64_t size, int to) {
  FileCalls& files = state_.files;
  std::uint64_t end = size;
  for (std::uint64_t at = 0; at < end;) {
    const auto start = files.seekData(from, at);
    if (!start && start.error().code == ENXIO) break;
    if (!start) return fail(start.error());
    if (*start >= end) break;
    const auto hole = files.seekHole(from, *start);
    const std::uint64_t stop = hole && *hole > *start ? std::min(*hole, end) : end;
    LUMISK_CHECK(files.seek(from, *start));
    LUMISK_CHECK(files.seek(to, *start));
    LUMISK_TRY(const std::uint64_t copied, copySpan(from, to, stop - *start));
    at = *start + copied;
    if (at < stop) end = at;  // it got shorter meanwhile
  }
  return files.truncate(to, end);
}

// From where both files stand. Fewer bytes than asked for at the end of the file.
Result<std::uint64_t> ContentCopy::copySpan(int from, int to, std::uint64_t length) {
  std::uint64_t copied = 0;
  while (copied < length) {
    if (state_.mustStop()) return fail("copy", "", ECANCELED);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length - copied, buffer_.size()));
    LUMISK_TRY(const std::size_t size, state_.files.read(from, std::span(buffer_).first(wanted)));
    if (size == 0) break;
    LUMISK_CHECK(writeAll(to, size));
    copied += size;
    state_.wrote(size);
  }
  return copied;
}

Result<void> ContentCopy::writeAll(int to, std::size_t size) {
  for (auto bytes = std::span<const std::byte>(buffer_).first(size); !bytes.empty();) {
    LUMISK_TRY(const std::size_t written, state_.files.write(to, bytes));
    if (written == 0) return fail("write", "", EIO);
    bytes = bytes.subspan(written);
  }
  return {};
}

Result<bool> ContentCopy::isSame(int a, int b) {
  second_.resize(kChunk);
  for (;;) {
    if (state_.mustStop()) return fail("compare", "", ECANCELED);
    LUMISK_TRY(const std::size_t sizeOfA, fill(a, buffer_.data()));
    LUMISK_TRY(const std::size_t sizeOfB, fill(b, second_.data()));
    if (sizeOfA != sizeOfB || std::memcmp(buffer_.data(), second_.data(), sizeOfA) != 0) return false;
    if (sizeOfA < kChunk) return true;
  }
}

// A whole chunk, unless the file ends before.
Result<std::size_t> ContentCopy::fill(int file, std::byte* at) {
  std::size_t filled = 0;
  while (filled < kChunk) {
    LUMISK_TRY(const std::size_t size, state_.files.read(file, std::span(at + filled, kChunk - filled)));
    if (size == 0) break;
    filled += size;
  }
  return filled;
}

}  // namespace lumisk
