#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/trash_finder.h"

namespace lumisk {

// What lies in the Trash and where it was, by the records of whatever program put it there.
struct TrashedEntry {
  std::string original;  // absolute
  std::string path;      // in the trash folder's "files"; it need not be there any more
  std::optional<WallTime> deleted;
};

// Reads the user's trash folders: the same ones that Trash fills. Makes nothing and changes nothing. Each folder is
// read once. A record that is no record of a path is passed by.
class TrashListing {
 public:
  explicit TrashListing(FileCalls& files) : files_(files) {}

  // The trash folders that take what is deleted at `path` (which need not exist), with the job's target as
  // `fallbackFolder`; "" for none.
  void add(const std::string& path, const std::string& fallbackFolder);

  [[nodiscard]] const std::vector<TrashedEntry>& entries() const { return entries_; }
  // What could not be read: its entries are not known.
  [[nodiscard]] const std::vector<Error>& problems() const { return problems_; }

 private:
  void take(Result<TrashFolder> found);
  Result<void> read(const TrashFolder& trash);
  Result<void> readRecord(const TrashFolder& trash, const std::string& infoName);

  FileCalls& files_;
  std::set<FileIdentity> read_;
  std::vector<TrashedEntry> entries_;
  std::vector<Error> problems_;
};

}  // namespace lumisk
