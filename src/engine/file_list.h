#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/run_seams.h"
#include "platform/file_calls.h"

namespace lumisk {

// The folder of the lists: "<home>/Library/Preferences/QEL_LUMISK".
[[nodiscard]] std::string fileListFolder();
// "<job name>.qellumiskdat"
[[nodiscard]] std::string fileListName(const std::string& jobName);

enum class FileListMode : int { kRead = 0, kWrite = 1 };

// The file list of a job: which source was carried to which destination by a run, for the next run, which deletes the
// destinations whose sources have gone. Streamed through one buffer, however long it is.
//
// The file, all integers big-endian, do not change: 10 bytes "MACOFLSIGN"; the number of records, 32 bits; 6 zero
// bytes; then the records, each a length of 32 bits and that many bytes of a path. Records come in pairs, a source and
// its destination.
//
// A list that is written takes the place of the previous one, durably, when it is closed, and not at all when anything
// failed. A list is read up to the first thing that is not as it must be: what is behind it deletes nothing. Belongs to
// one thread.
class FileList {
 public:
  explicit FileList(FileCalls& files, std::string folder = fileListFolder())
      : files_(files), folderPath_(std::move(folder)) {}
  ~FileList() { discard(); }
  FileList(const FileList&) = delete;
  FileList& operator=(const FileList&) = delete;

  // For reading: ENOENT when there is none; one that is no list is set aside, EINVAL; one shorter than its header has
  // nothing to read. For writing: makes the folder when it is missing. A list that is open is discarded first.
  Result<void> openFilelist(const std::string& jobName, FileListMode mode);
  // Nothing when the list is not open for writing. A failure shows when the list is closed.
  void writeDataToFilelist(std::string_view path);
  // The next record, valid until the next call; nothing at the end.
  Result<std::optional<std::string_view>> readDataToFilelist();
  // The next two; nothing at the end, and for one without the other.
  struct Pair {
    std::string source;
    std::string destination;
  };
  Result<std::optional<Pair>> readPair();
  Result<void> closeFilelist();
  // Closes it; what was written is forgotten and the previous list stays.
  void discard();

  [[nodiscard]] bool isOpen() const { return _gc_fd.isOpen(); }
  [[nodiscard]] std::uint32_t recordCount() const { return _gc_count; }  // as the header says, or written so far

 private:
  static constexpr std::size_t _gc_length = 65536;

  Result<void> openForWriting();
  Result<void> openForReading();
  Result<void> readHeader();
  Result<void> append(std::string_view path);
  Result<void> flush();
  Result<void> writeAll(std::string_view bytes);
  Result<void> finish();
  Result<void> refill();
  Result<std::optional<std::uint32_t>> nextLength();
  Result<std::optional<std::string_view>> nextBytes(std::uint32_t length);
  Result<std::optional<std::string_view>> longRecord(std::uint32_t length);

  FileCalls& files_;
  std::string folderPath_;
  std::string name_;
  std::string temporary_;  // the file that is written
  Descriptor folder_;
  std::optional<Error> failure_;  // the first one while writing
  std::uint32_t recordsLeft_ = 0;
  std::string longRecord_;  // a record that is longer than the buffer

  Descriptor _gc_fd;
  FileListMode _gc_mode = FileListMode::kRead;
  std::array<char, _gc_length> _gc_buffer{};
  std::size_t _gc_len = 0;         // valid bytes of the buffer
  std::size_t _gc_currentPtr = 0;  // reading position in it
  std::uint32_t _gc_count = 0;
};

// Writes what a run carries into its list.
class FileListRecorder : public RunRecorder {
 public:
  explicit FileListRecorder(FileList& list) : list_(list) {}
  void recordPair(const std::string& source, const std::string& destination) override {
    list_.writeDataToFilelist(source);
    list_.writeDataToFilelist(destination);
  }

 private:
  FileList& list_;
};

}  // namespace lumisk
