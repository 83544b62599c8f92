#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>

namespace lumisk {

// The folders that the walk there of a two-way run found, or made, the same on both sides with all that lies below
// them: the walk back passes them by. Only the topmost of them are kept by name. A value; paths are relative to the
// roots, "" the root.
class SettledFolders {
 public:
  void add(std::string folder) { folders_.insert(std::move(folder)); }
  // The entries directly in a folder that is settled; `shallow`: those that count for the progress.
  void addEntries(std::uint64_t entries, std::uint64_t shallow) {
    entries_ += entries;
    shallow_ += shallow;
  }

  [[nodiscard]] bool contains(const std::string& folder) const { return folders_.count(folder) != 0; }
  [[nodiscard]] std::uint64_t entries() const { return entries_; }
  [[nodiscard]] std::uint64_t shallowEntries() const { return shallow_; }

 private:
  std::unordered_set<std::string> folders_;
  std::uint64_t entries_ = 0;
  std::uint64_t shallow_ = 0;
};

}  // namespace lumisk
