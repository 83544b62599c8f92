#pragma once

#include <string>
#include <vector>

namespace lumisk {

// The property list that is shared with the file manager's plug-in: which sources are being copied, and where the
// plug-in is restoring. It belongs to the plug-in: it is made here only to tell of a restore of ours, and one that is
// damaged is left alone. Changes by this process are one at a time, whichever object makes them; any thread may call.
class PluginList {
 public:
  explicit PluginList(std::string path) : path_(std::move(path)) {}

  // "RunningJobSourcePath". What cannot be written is left out: the list only informs.
  void writeRunningJobOriginalPathsToPlist(const std::vector<std::string>& sources) const;
  void deleteRunningJobOriginalPathInPlist(const std::vector<std::string>& sources) const;  // every entry of theirs

  // Where the plug-in, or a program of ours, is restoring to, from "JobList". What a program of ours has left there
  // that ended in the middle does not count.
  [[nodiscard]] std::vector<std::string> restoredPlaces() const;

  // Entries of this process, by an id of its own; see RestoreHold. False: the list could not be written.
  bool addRestore(const std::string& id, const std::string& from, const std::string& to) const;
  bool removeRestore(const std::string& id) const;

 private:
  std::string path_;
};

// Whether one of the places is a source, or one of the two paths is a part of the other.
[[nodiscard]] bool isNowRestoreingByPlugin(const std::vector<std::string>& restoredPlaces,
                                           const std::vector<std::string>& sources);

}  // namespace lumisk
