#include "engine/file_list.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <span>

#include "engine/directory_walk.h"
#include "engine/small_file.h"
#include "platform/home_folder.h"

namespace lumisk {
namespace {

constexpr std::string_view kSignature = "MACOFLSIGN";
constexpr std::size_t kCountOffset = 10;
constexpr std::size_t kHeaderSize = 20;
constexpr std::size_t kLengthSize = 4;
// No path is longer; a length beyond it is damage and must not be believed when memory is taken.
constexpr std::uint32_t kLongestRecord = std::uint32_t{16} << 20;

std::string bigEndian(std::uint32_t number) {
  return {static_cast<char>(number >> 24), static_cast<char>(number >> 16), static_cast<char>(number >> 8),
          static_cast<char>(number)};
}

std::uint32_t fromBigEndian(const char* bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < kLengthSize; ++i) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

// The same for the same list, so that nothing is left over for good; no two runs write one list.
std::string temporaryNameOf(const std::string& name) {
  return fmt::format(".lumisk-{:012x}", std::hash<std::string>{}(name)&0xffffffffffff);
}

}  // namespace

std::string fileListFolder() {
  return homeFolder() + "/Library/Preferences/QEL_LUMISK";
}

std::string fileListName(const std::string& jobName) {
  return jobName + ".qellumiskdat";
}

Result<void> FileList::openFilelist(const std::string& jobName, FileListMode mode) {
  discard();
  name_ = fileListName(jobName);
  _gc_mode = mode;
  _gc_count = recordsLeft_ = 0;
  _gc_len = _gc_currentPtr = 0;
  failure_.reset();
  return mode == FileListMode::kWrite ? openForWriting() : openForReading();
}

Result<void> FileList::openForWriting() {
  if (!createDirectoryAtPath(files_, folderPath_))
    return fail("make the folder of the file lists", folderPath_, 0, "it could not be made");
  LUMISK_TRY(folder_, files_.openRoot(folderPath_));
  temporary_ = temporaryNameOf(name_);
  (void)files_.removeFile(folder_.get(), temporary_);  // of a run that was killed
  LUMISK_TRY(_gc_fd, files_.createFile(folder_.get(), temporary_, 0664));
  std::memcpy(_gc_buffer.data(), kSignature.data(), kSignature.size());
  std::memset(_gc_buffer.data() + kCountOffset, 0, kHeaderSize - kCountOffset);
  _gc_len = kHeaderSize;
  return {};
}

Result<void> FileList::openForReading() {
  LUMISK_TRY(folder_, files_.openRoot(folderPath_));
  LUMISK_TRY(_gc_fd, files_.openFile(folder_.get(), name_));
  auto read = readHeader();
  if (!read) discard();
  return read;
}

Result<void> FileList::readHeader() {
  LUMISK_TRY(const FileStatus status, files_.statusOf(_gc_fd.get()));
  if (status.type != FileType::kRegular) return fail("read the file list", name_, EINVAL);
  LUMISK_CHECK(refill());
  if (_gc_len < kHeaderSize) return {};
  if (std::string_view(_gc_buffer.data(), kSignature.size()) != kSignature) {
    LUMISK_CHECK(setAsideSmallFile(files_, folder_.get(), name_));
    return fail("read the file list", name_, EINVAL, "it is no file list and was set aside");
  }
  _gc_count = recordsLeft_ = fromBigEndian(_gc_buffer.data() + kCountOffset);
  _gc_currentPtr = kHeaderSize;
  return {};
}

void FileList::writeDataToFilelist(std::string_view path) {
  if (!isOpen() || _gc_mode != FileListMode::kWrite || failure_) return;
  if (auto appended = append(path); !appended) failure_ = std::move(appended).error();
}

Result<void> FileList::append(std::string_view path) {
  if (path.size() > kLongestRecord) return fail("write into the file list", name_, ENAMETOOLONG);
  if (_gc_count == std::numeric_limits<std::uint32_t>::max()) return fail("write into the file list", name_, EOVERFLOW);
  const std::string length = bigEndian(static_cast<std::uint32_t>(path.size()));
  if (_gc_len + kLengthSize + path.size() > _gc_length) LUMISK_CHECK(flush());
  std::memcpy(_gc_buffer.data() + _gc_len, length.data(), kLengthSize);
  _gc_len += kLengthSize;
  if (kLengthSize + path.size() > _gc_length) {
    LUMISK_CHECK(flush());
    LUMISK_CHECK(writeAll(path));
  } else {
    std::memcpy(_gc_buffer.data() + _gc_len, path.data(), path.size());
    _gc_len += path.size();
  }
  ++_gc_count;
  return {};
}

Result<void> FileList::flush() {
  LUMISK_CHECK(writeAll({_gc_buffer.data(), _gc_len}));
  _gc_len = 0;
  return {};
}

Result<void> FileList::writeAll(std::string_view bytes) {
  while (!bytes.empty()) {
    LUMISK_TRY(const std::size_t size, files_.write(_gc_fd.get(), std::as_bytes(std::span(bytes))));
    bytes.remove_prefix(size);
  }
  return {};
}

Result<void> FileList::closeFilelist() {
  if (!isOpen()) return {};
  auto closed = _gc_mode == FileListMode::kWrite ? finish() : Result<void>{};
  discard();
  return closed;
}

// The name comes last, so that what has it is whole.
Result<void> FileList::finish() {
  if (failure_) return fail(*failure_);
  LUMISK_CHECK(flush());
  LUMISK_CHECK(files_.seek(_gc_fd.get(), kCountOffset));
  LUMISK_CHECK(writeAll(bigEndian(_gc_count)));
  LUMISK_CHECK(files_.syncFile(_gc_fd.get()));
  LUMISK_CHECK(files_.close(std::move(_gc_fd)));
  LUMISK_CHECK(files_.rename(folder_.get(), temporary_, folder_.get(), name_, Replace::kAllowed));
  temporary_.clear();
  return files_.syncFile(folder_.get());
}

void FileList::discard() {
  _gc_fd.reset();
  if (!temporary_.empty() && folder_.isOpen()) (void)files_.removeFile(folder_.get(), temporary_);
  temporary_.clear();
  folder_.reset();
  recordsLeft_ = 0;
}

Result<std::optional<std::string_view>> FileList::readDataToFilelist() {
  if (!isOpen() || recordsLeft_ == 0) return std::nullopt;
  const std::uint32_t left = std::exchange(recordsLeft_, 0);  // whatever goes wrong below ends the list
  LUMISK_TRY(const auto length, nextLength());
  if (!length) return std::nullopt;
  LUMISK_TRY(const auto bytes, nextBytes(*length));
  if (!bytes || bytes->find('\0') != std::string_view::npos) return std::nullopt;
  recordsLeft_ = left - 1;
  return bytes;
}

Result<std::optional<FileList::Pair>> FileList::readPair() {
  LUMISK_TRY(const auto source, readDataToFilelist());
  if (!source) return std::nullopt;
  Pair pair{std::string(*source), {}};
  LUMISK_TRY(const auto destination, readDataToFilelist());
  if (!destination) return std::nullopt;
  pair.destination = *destination;
  return pair;
}

Result<std::optional<std::uint32_t>> FileList::nextLength() {
  if (_gc_len - _gc_currentPtr < kLengthSize) LUMISK_CHECK(refill());
  if (_gc_len - _gc_currentPtr < kLengthSize) return std::nullopt;
  const std::uint32_t length = fromBigEndian(_gc_buffer.data() + _gc_currentPtr);
  _gc_currentPtr += kLengthSize;
  if (length == 0 || length > kLongestRecord) return std::nullopt;
  return length;
}

Result<std::optional<std::string_view>> FileList::nextBytes(std::uint32_t length) {
  if (length > _gc_length) return longRecord(length);
  if (_gc_len - _gc_currentPtr < length) LUMISK_CHECK(refill());
  if (_gc_len - _gc_currentPtr < length) return std::nullopt;
  const std::string_view bytes(_gc_buffer.data() + _gc_currentPtr, length);
  _gc_currentPtr += length;
  return bytes;
}

Result<std::optional<std::string_view>> FileList::longRecord(std::uint32_t length) {
  longRecord_.assign(_gc_buffer.data() + _gc_currentPtr, _gc_len - _gc_currentPtr);
  _gc_currentPtr = _gc_len = 0;
  std::size_t filled = longRecord_.size();
  longRecord_.resize(length);
  while (filled < length) {
    const auto rest = std::as_writable_bytes(std::span(longRecord_).subspan(filled));
    LUMISK_TRY(const std::size_t size, files_.read(_gc_fd.get(), rest));
    if (size == 0) return std::nullopt;
    filled += size;
  }
  return longRecord_;
}

// Keeps the unread rest and fills up behind it.
Result<void> FileList::refill() {
  std::memmove(_gc_buffer.data(), _gc_buffer.data() + _gc_currentPtr, _gc_len - _gc_currentPtr);
  _gc_len -= std::exchange(_gc_currentPtr, 0);
  while (_gc_len < _gc_length) {
    const auto room = std::as_writable_bytes(std::span(_gc_buffer).subspan(_gc_len));
    LUMISK_TRY(const std::size_t size, files_.read(_gc_fd.get(), room));
    if (size == 0) return {};
    _gc_len += size;
  }
  return {};
}

}  // namespace lumisk
