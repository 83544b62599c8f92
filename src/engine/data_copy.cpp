#include "engine/data_copy.h"

#include <cerrno>
#include <span>

#include "engine/error_place.h"

namespace lumisk {
namespace {

// Below, asking the kernel costs more than it saves.
constexpr std::uint64_t kLargeFile = std::uint64_t{1} << 20;
// One request to the kernel: as long as a stop of the run may have to wait.
constexpr std::uint64_t kRangeSize = std::uint64_t{1} << 20;

bool isRefused(const Error& error) {
  static constexpr std::array kCodes = {EOPNOTSUPP, EXDEV, EINVAL, ENOSYS, ENOTTY};
  return std::find(kCodes.begin(), kCodes.end(), error.code) != kCodes.end();
}

bool hasHoles(const FileStatus& status) {
  return status.blocks < status.size / 512;
}

double percentOf(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? 100 : std::min(100.0, static_cast<double>(part) / static_cast<double>(whole) * 100);
}

}  // namespace

bool DataCopy::isPlainAndSmall(const FileStatus& status) {
  return status.size < kLargeFile && !hasHoles(status);
}

Result<std::uint64_t> DataCopy::copy(const Open& from, const FileStatus& status, const Open& to) {
  bytes_ = 0;
  endedEarly_ = false;
  const auto done = copyWhole({from, to, status.size, nullptr}, status);
  if (progress_ == Progress::kTold) run_.bytesOfFile = 0;
  if (!done) return fail(done.error());
  return bytes_;
}

Result<void> DataCopy::copyWhole(Job job, const FileStatus& status) {
  LUMISK_CHECK(findOffload(job, status));
  if (job.offload && job.offload->clone) {
    LUMISK_TRY(const bool isDone, clone(job));
    if (isDone) return {};
  }
  if (hasHoles(status)) {
    LUMISK_TRY(const bool isDone, copyAroundHoles(job));
    if (isDone) return {};
  }
  LUMISK_CHECK(copySpan(job, job.size));
  return {};
}

Result<void> DataCopy::findOffload(Job& job, const FileStatus& status) {
  if (!run_.pace.mayOffload() || job.size < kLargeFile) return {};
  LUMISK_TRY(const FileStatus target, about(job.to.place.path, run_.files.statusOf(job.to.file)));
  job.offload = &offloads_[{status.identity.device, target.identity.device}];
  return {};
}

Result<bool> DataCopy::clone(const Job& job) {
  if (run_.mustStop()) return fail("copy", job.from.place.path, ECANCELED);
  if (const auto cloned = run_.files.cloneFile(job.from.file, job.to.file); !cloned) {
    if (isOutOfSpace(cloned.error())) return about<bool>(job.to.place.path, fail(cloned.error()));
    if (isRefused(cloned.error())) job.offload->clone = false;
    return false;
  }
  LUMISK_TRY(const FileStatus target, about(job.to.place.path, run_.files.statusOf(job.to.file)));
  noteProgress(job, target.size);
  return true;
}

// False, with nothing done, where the file system does not tell where its holes are.
Result<bool> DataCopy::copyAroundHoles(const Job& job) {
  FileCalls& files = run_.files;
  std::uint64_t end = job.size;
  std::uint64_t endOfData = 0;
  for (std::uint64_t at = 0; at < end;) {
    const auto start = files.seekData(job.from.file, at);
    if (!start && start.error().code == ENXIO) break;
    if (!start && at == 0 && isRefused(start.error())) return false;
    if (!start) return about<bool>(job.from.place.path, fail(start.error()));
    if (*start >= end) break;
    const auto hole = files.seekHole(job.from.file, *start);
    const std::uint64_t stop = hole && *hole > *start ? std::min(*hole, end) : end;
    LUMISK_CHECK(about(job.from.place.path, files.seek(job.from.file, *start)));
    LUMISK_CHECK(about(job.to.place.path, files.seek(job.to.file, *start)));
    LUMISK_TRY(const std::uint64_t copied, copySpan(job, stop - *start));
    at = *start + copied;
    endOfData = at;
    if (at < stop) end = at;  // it got shorter meanwhile
  }
  // A file of the right size whose data a crash could still take away would pass for whole.
  if (endOfData > 0 && endOfData < end) LUMISK_CHECK(about(job.to.place.path, files.syncFile(job.to.file)));
  LUMISK_CHECK(about(job.to.place.path, files.truncate(job.to.file, end)));
  return true;
}

// From where both files stand. Fewer bytes than asked for at the end of the file. A length of 0 proves nothing where
// a file system makes contents up as they are read: then to the end.
Result<std::uint64_t> DataCopy::copySpan(const Job& job, std::uint64_t length) {
  std::uint64_t copied = 0;
  while (copied < length || length == 0) {
    run_.waitWhilePaused();
    if (run_.mustStop()) return fail("copy", job.from.place.path, ECANCELED);
    LUMISK_TRY(const std::size_t size, copyChunk(job, length == 0 ? buffer_.size() : length - copied));
    if (size == 0) {
      endedEarly_ = length != 0;
      break;
    }
    copied += size;
    noteProgress(job, size);
    run_.pace.afterChunk();
  }
  return copied;
}

Result<std::size_t> DataCopy::copyChunk(const Job& job, std::uint64_t length) {
  if (job.offload && job.offload->range) {
    LUMISK_TRY(const std::size_t size, copyRange(job, length));
    if (size > 0) return size;
  }
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, buffer_.size()));
  LUMISK_TRY(const std::size_t size,
             about(job.from.place.path, run_.files.read(job.from.file, std::span(buffer_).first(wanted))));
  LUMISK_CHECK(writeAll(job.to, size));
  return size;
}

// 0 when the kernel did nothing: it refuses, is at the end or met an error of either file. Only reading and writing
// tell which, and for certain.
Result<std::size_t> DataCopy::copyRange(const Job& job, std::uint64_t length) {
  const auto wanted = static_cast<std::size_t>(std::min(length, kRangeSize));
  auto copied = run_.files.copyRange(job.from.file, job.to.file, wanted);
  if (copied) return *copied;
  if (isOutOfSpace(copied.error())) return about(job.to.place.path, std::move(copied));
  if (isRefused(copied.error())) job.offload->range = false;
  return std::size_t{0};
}

Result<void> DataCopy::writeAll(const Open& to, std::size_t size) {
  for (auto bytes = std::span<const std::byte>(buffer_).first(size); !bytes.empty();) {
    LUMISK_TRY(const std::size_t written, about(to.place.path, run_.files.write(to.file, bytes)));
    if (written == 0) return fail("write", to.place.path, EIO);
    bytes = bytes.subspan(written);
  }
  return {};
}

void DataCopy::noteProgress(const Job& job, std::uint64_t bytes) {
  bytes_ += bytes;
  if (progress_ == Progress::kNotTold) return;
  run_.bytesOfFile = bytes_;
  run_.reportProgress(job.from.place.name, percentOf(bytes_, job.size));
}

}  // namespace lumisk
