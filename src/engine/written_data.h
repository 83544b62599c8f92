#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// What a run wrote and has not yet seen reach the disk. A run that wrote a few entries syncs those and their folders at
// its end; a larger one syncs each file system that it wrote to, once. Errors that the system met while writing back
// since begin() are reported, so begin() comes before the first byte. Belongs to the run's thread.
class WrittenData {
 public:
  explicit WrittenData(FileCalls& files) : files_(files) {}

  // Before anything is written below the open folder `root`.
  Result<void> begin(int root);
  // An entry was made, replaced, renamed or removed in `folder` (open, on file system `device`). `file` is open, too,
  // or -1 when the entry has no data of its own (a link, a removal). Keeps duplicates of the descriptors while they are
  // few.
  void wrote(int file, int folder, std::uint64_t device);
  // Whether whole file systems are synced at the end: from then on nobody needs the descriptors of single files.
  [[nodiscard]] bool isMuch() const { return tooMany_; }
  [[nodiscard]] bool isEmpty() const { return !wroteAnything_; }
  // Waits until all of it is on the disk; starts over empty, also when it fails: the system tells an error once only.
  Result<void> settle();
  // All of it, for whoever settles it elsewhere; empty from then on.
  [[nodiscard]] WrittenData take();

 private:
  struct Pending {
    Descriptor file;
    Descriptor folder;
  };
  struct FileSystem {
    Descriptor folder;  // any on it, open since before it was written to
    bool isWritten = false;
  };
  Result<void> noteFileSystem(int folder, std::uint64_t device);
  Result<void> remember(int file, int folder);
  Result<void> syncEntries();
  Result<void> syncFolder(int folder);
  Result<void> syncFileSystems();

  FileCalls& files_;
  bool wroteAnything_ = false;
  bool tooMany_ = false;
  std::vector<Pending> pending_;
  std::map<std::uint64_t, FileSystem> fileSystems_;  // by device
  std::optional<Error> lost_;                        // why something cannot be synced
};

}  // namespace lumisk
