#pragma once

#include <functional>
#include <string>
#include <unordered_set>

#include "platform/file_calls.h"

namespace lumisk {

inline constexpr const char* kSyncedEntriesName = ".lumiskFileList";

// The synced-entries list of one folder of a two-way job: a property list file in the folder, an array of the full
// paths of those of its entries that are in step with the other side. An entry is listed only after its copy succeeded,
// and unlisted, durably, before anything is removed because of it. Listed paths of other places (a folder that was
// moved) are carried along and prove nothing. Several jobs share the list by its place, so one listed side is never
// enough.
//
// Read once, changed in memory, written once. A missing list is an empty one; a damaged one is set aside and counts as
// empty: that leads to copying too much, never to deleting. Belongs to the run's thread.
class SyncedEntries {
 public:
  // `path`: the folder as the job spells it.
  SyncedEntries(FileCalls& files, std::string path) : files_(files), path_(std::move(path)) {}

  // Of the open folder. A list that cannot be read is an error: then nothing is listed, and write() does nothing.
  Result<void> read(int folder);
  [[nodiscard]] bool findFileInArrayList(const std::string& name) const { return names_.count(name) != 0; }
  void addFileToArrayList(const std::string& name);
  void deleteFileInArrayList(const std::string& name);
  void keepOnly(const std::function<bool(const std::string& name)>& isWanted);
  // After the folder was renamed from `oldPath`: what was listed under the old path is listed under this one.
  void takeOverPaths(const std::string& oldPath);

  [[nodiscard]] bool isChanged() const { return changed_; }
  enum class Durability { kWithTheRun, kNow };
  // Atomically, only when changed. kNow: on the disk when it returns.
  Result<void> write(int folder, Durability durability);

 private:
  FileCalls& files_;
  std::string path_;
  std::unordered_set<std::string> names_;   // of entries of this folder
  std::unordered_set<std::string> others_;  // whole paths
  bool changed_ = false;
  bool unreadable_ = false;
};

}  // namespace lumisk
