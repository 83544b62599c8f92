#pragma once

#include <string>

#include "engine/walk_state.h"

namespace lumisk {

// Opens the pair of folders that a walk begins with. Errors are logged and counted.
//
// A source that is no folder is walked as a listing of its parent that has this one entry. A source that is a link to a
// folder is followed, and so is a destination that is itself a folder of the job; anything else that stands in the way
// of a destination is kept and replaced.
class WalkRoots {
 public:
  explicit WalkRoots(WalkState& walk) : walk_(walk), run_(walk.run) {}

  // Puts them on the stack. False when they could not be opened.
  bool open(std::string source, std::string destination, int layer);

 private:
  bool openSource(FolderFrame& frame, std::string& source, std::string& destination);
  Result<void> readSource(FolderFrame& frame, std::string& source, std::string& destination);
  Result<void> readParentOfSource(FolderFrame& frame, std::string& source, std::string& destination);
  bool openDestination(FolderFrame& frame, const std::string& source, const std::string& destination);
  Result<void> findDestination(FolderFrame& frame, const std::string& destination);
  Result<void> findOrMake(FolderFrame& frame, const Place& place);
  Result<void> make(FolderFrame& frame, const Place& place, const std::optional<FileStatus>& standing);
  [[nodiscard]] bool belongsToEarlierSource(const Place& place, const FileIdentity& standing) const;
  void noteDestinations(const FolderFrame& frame);

  WalkState& walk_;
  RunState& run_;
};

}  // namespace lumisk
