#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/directory_walk.h"
#include "engine/file_copier.h"
#include "engine/worker_services.h"

namespace lumisk {

// One target folder of a run, with what carries entries into it.
struct RunTarget {
  std::string path;
  Descriptor folder;  // holds the lock
  FileIdentity identity;
  std::unique_ptr<Trash> trash;
  std::unique_ptr<VersionKeeper> versions;
  std::unique_ptr<FileCopier> copier;
  std::unique_ptr<DirectoryWalk> walk;
};

// The target folders of one run, open for its time and locked against every other run. Belongs to the run's thread.
class RunTargets {
 public:
  RunTargets(const WorkerServices& services, RunState& run) : services_(services), run_(run) {}

  // Opens and locks those of the paths that lead to a folder; two that lead to the same folder are one. Fails with
  // EWOULDBLOCK when another run holds one of them. A file system that cannot lock is logged and goes on without.
  Result<void> open(const std::vector<std::string>& paths);
  // Gives each its trash, its versions and its walk, by rules of its own where `rulesFor` gives some.
  void equip(RunRecorder& recorder, const std::function<WalkRules*(RunTarget&)>& rulesFor);

  // The open target to which the path leads now, when it can be written to. The path is looked up again: what was
  // opened may have been unmounted or replaced meanwhile.
  Result<RunTarget*> usable(const std::string& path);
  [[nodiscard]] RunTarget* first();  // of the first path; nullptr when it could not be opened
  // The folders between a target and a place in it.
  Result<void> makeParents(const std::string& target, const std::string& parent);
  // Of each, a descriptor of its own: for whoever brings to the disk what anybody wrote there.
  Result<std::vector<Descriptor>> duplicates();

 private:
  Result<void> openOne(const std::string& path);
  Result<void> lock(const RunTarget& target);
  void noteNewFolders(const std::string& target, std::string folder);
  std::unique_ptr<VersionKeeper> makeVersions(const RunTarget& target);
  RunTarget* find(const FileIdentity& identity);

  const WorkerServices& services_;
  RunState& run_;
  std::vector<std::unique_ptr<RunTarget>> targets_;
  bool firstIsOpen_ = false;
};

enum class SourceKind { kFolder, kOther };
// What a readable source is, links followed.
Result<SourceKind> checkSource(FileCalls& files, const std::string& path);

}  // namespace lumisk
