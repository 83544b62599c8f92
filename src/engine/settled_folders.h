#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>

namespace lumisk {

// What the walk there of a two-way run tells the walk back: the folders that it found, or made, the same on both sides
// with all that lies below them, which the walk back passes by, and the winners of conflicts that it has left to it.
// Only the topmost of them are kept by name. A value; paths are relative to the roots, "" the root.
class SettledFolders {
 public:
  void add(std::string folder) { folders_.insert(std::move(folder)); }
  // The entries directly in a folder that is settled; `shallow`: those that count for the progress.
  void addEntries(std::uint64_t entries, std::uint64_t shallow) {
    entries_ += entries;
    shallow_ += shallow;
  }

  // The winner of a conflict, by the name that the target has: the loser is kept on both sides, and the walk back is to
  // bring it. All other conflicts are settled by the walk there, or not in this run.
  void addWinner(std::string entry) { winners_.insert(std::move(entry)); }
  [[nodiscard]] bool isWinner(const std::string& entry) const { return winners_.count(entry) != 0; }

  [[nodiscard]] bool contains(const std::string& folder) const { return folders_.count(folder) != 0; }
  [[nodiscard]] std::uint64_t entries() const { return entries_; }
  [[nodiscard]] std::uint64_t shallowEntries() const { return shallow_; }

 private:
  std::unordered_set<std::string> folders_;
  std::unordered_set<std::string> winners_;
  std::uint64_t entries_ = 0;
  std::uint64_t shallow_ = 0;
};

}  // namespace lumisk
