#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engine/info_files.h"
#include "engine/remembered_file_systems.h"
#include "engine/run_request.h"
#include "engine/run_targets.h"
#include "platform/mount_table.h"

namespace lumisk {

// Whether the places of a stored job are the ones that it knows: a source on another file system than before deletes
// nothing, and a target that has lost its marker receives nothing. A job that is stored nowhere knows no places, and
// leaves no marks in them. One object per run, used from the run's thread.
class PlaceChecks {
 public:
  PlaceChecks(const WorkerServices& services, const RunRequest& request, RunState& run, RunReport& report);

  // Why nothing may be carried from a source or into a target, as a line for the user; nothing when it may. A target
  // that may be written to carries the marker then.
  std::optional<std::string> whyNotSource(const std::string& source);
  std::optional<std::string> whyNotTarget(const std::string& path, const RunTarget& target);
  // Mounts below the sources that were there and are gone: below these places an absence proves nothing.
  const std::vector<std::string>& unbelieved() const { return unbelieved_; }
  // What has gone since a source was looked at: sources, and mounts below them.
  [[nodiscard]] const std::vector<std::string>& vanished();
  // The first of the missing mounts below this source.
  struct MissingMount {
    std::string place;
    std::string text;  // a line for the user
  };
  [[nodiscard]] std::optional<MissingMount> missingMount(const std::string& source) const;
  // Marks a source that may be taken to another computer; where that fails nothing is lost.
  void markSource(const std::string& source);
  // At the end of a run that was not cancelled: the file systems of the sources that it walked.
  void remember();

 private:
  struct Seen {
    RememberedFileSystem root;
    RememberedFileSystems mounts;
    std::optional<std::uint64_t> mountNumber;  // unknown where the system does not tell it
  };
  void lookAt(const std::string& source);
  [[nodiscard]] bool isAllWhereItWas() const;
  [[nodiscard]] std::vector<std::string> lookForVanished() const;
  std::optional<std::string> examineTarget(const std::string& path, const RunTarget& target);
  std::optional<std::string> markTarget(const std::string& path, const RunTarget& target, TargetVerdict verdict);
  void noteMarked(const std::string& path);
  [[nodiscard]] InfoFile infoFile() const;
  [[nodiscard]] std::string shownName() const;

  const WorkerServices& services_;
  const RunRequest& request_;
  RunState& run_;
  RunReport& report_;
  const bool isStored_;
  RememberedFileSystems remembered_;
  MountChanges mountChanges_;         // since the sources were looked at
  std::map<std::string, Seen> seen_;  // sources that may be carried
  std::vector<std::string> vanished_;
  std::vector<std::string> unbelieved_;
  std::map<std::string, std::optional<std::string>> targets_;  // what was found out, by path
};

}  // namespace lumisk
