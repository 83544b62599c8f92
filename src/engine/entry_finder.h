#pragma once

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// Looks entries up by their paths below an open folder, component by component, following no link below it. Stays in
// the folder of the last entry, so that the entries of one folder cost one call each; a folder that is moved away
// meanwhile is still the one that is looked into.
class EntryFinder {
 public:
  EntryFinder(FileCalls& files, int root) : files_(files), root_(root) {}

  struct Found {
    int folder = -1;  // that holds the entry; or the last one on the way to it that there is; valid until the next call
    std::string name;                  // of the entry, or of the first component that is missing
    std::optional<FileStatus> status;  // of the entry; empty: that component is missing (ENOENT)
  };
  // `components`: at least one. ENOTDIR: something that is no folder stands on the way. Every other failure says
  // nothing about the entry.
  Result<Found> find(const std::vector<std::string>& components);

  // Whether the complete listing of the folder that find() ended in has the name. Listed once while it stays there.
  Result<bool> lists(const std::string& name);

 private:
  Result<void> goTowards(const std::vector<std::string>& components);
  Result<void> goToRoot();

  FileCalls& files_;
  int root_;
  std::vector<std::string> place_;  // of folder_, below the root
  Descriptor folder_;
  std::optional<std::unordered_set<std::string>> names_;  // of folder_
};

}  // namespace lumisk
