#pragma once

#include <map>
#include <string>
#include <vector>

#include "engine/revision_numbering.h"
#include "engine/run_state.h"
#include "platform/trash.h"

namespace lumisk {

// The revision folders of one run: opened and made by descriptors below the first target, each listed once while the
// run stays in it or below it.
class RevisionFolders {
 public:
  // Opens the first target: what is at its place later on, when a volume was pulled away, gets nothing.
  RevisionFolders(RunState& run, Trash& trash);

  // Goes to the folder, making what is missing, 0700. What stands in the way and is no folder goes to the Trash.
  Result<void> enter(const std::vector<std::string>& folders);
  // Of the folder entered last.
  [[nodiscard]] int folder() const { return folder_.get(); }
  [[nodiscard]] std::string pathOf(const std::string& name) const;
  Result<ListedNames*> names();  // kept up to date by the caller; valid until the next enter()

 private:
  Result<Descriptor> openOrMake(int parent, const std::string& name, const std::string& path);
  Result<Descriptor> make(int parent, const std::string& name);

  RunState& run_;
  Trash& trash_;
  Result<Descriptor> target_;
  std::vector<std::string> place_;
  Descriptor folder_;
  std::map<std::vector<std::string>, ListedNames> listed_;  // of the folder and those above it
};

}  // namespace lumisk
