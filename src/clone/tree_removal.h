#pragma once

#include <string>
#include <vector>

#include "clone/clone_state.h"
#include "platform/name_list.h"

namespace lumisk {

// Removes what the source does not have from the target, whole trees too, by descriptors and without following links.
// Other file systems that are mounted in there stay, with what is around them. Failures are told and counted.
class TreeRemoval {
 public:
  explicit TreeRemoval(CloneState& state) : state_(state) {}

  // Whether nothing of that name is left in the open folder. `path`: for what is told.
  bool remove(int folder, const std::string& name, const std::string& path);

  // All that stands in the target's folder and not in the source's; both must have been listed whole. Nothing when the
  // source's disk no longer answers.
  void removeExtras(int folder, const NameList& standing, const NameList& wanted, const std::string& path);

 private:
  struct Level {
    Descriptor folder;
    FileIdentity identity;
    NameList names;
    std::size_t next = 0;
    std::string name;
    bool holdsMore = false;  // something in it stayed
  };
  bool removeTree(int folder, const std::string& name, const std::string& path);
  Result<void> enter(int folder, const std::string& name, std::vector<Level>& levels);
  void removeNext(std::vector<Level>& levels, const std::string& path);
  bool removeEmptied(int folder, const Level& level, const std::string& path);
  bool removeOne(int folder, const std::string& name, const FileStatus& status, const std::string& path);

  CloneState& state_;
};

// Takes the protection of `chattr +i` or `+a` from an entry, so that it can be changed. False when it has none.
bool unprotect(CloneState& state, int folder, const std::string& name);

}  // namespace lumisk
