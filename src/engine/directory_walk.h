#pragma once

#include <memory>
#include <string>

#include "engine/file_copier.h"
#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "engine/walk_rules.h"

namespace lumisk {

// The walk of a run: lists a pair of folders, asks the copy rule about each entry and has the verdict carried out.
//
// Works with folder descriptors throughout; a path is text for logs and records. Trees may be deeper than PATH_MAX and
// than the process's number of descriptors. Memory is what one chain of open listings needs, plus one record per file
// that has several names.
//
// Only a proven absence is an absence: a folder that could not be listed whole is an error and is not walked.
class DirectoryWalk {
 public:
  DirectoryWalk(RunState& run, FileCopier& copier, RunRecorder& recorder);  // of a backup that deletes nothing
  DirectoryWalk(RunState& run, FileCopier& copier, RunRecorder& recorder, WalkRules& rules);
  ~DirectoryWalk();

  // Carries a source (file, link or folder) to a destination path whose parent exists (a missing target folder is
  // createDirectoryAtPath's business). False when the walk of the root itself could not be done; errors further down
  // are logged, counted and passed by. layer: entries count into m_nFileCount while it is above 0 (5 at the root, one
  // less for each level). mode: chooses the pause per entry.
  bool copyDirectory(const std::string& source, const std::string& destinationPath, int layer, int mode);

  // Whether anything was made, replaced or removed, in all calls so far.
  [[nodiscard]] bool wroteAnything() const;

 private:
  class Walker;
  std::unique_ptr<Walker> walker_;
};

// Creates missing folders down to `path`. False when one could not be made, or would lie directly in a folder where
// volumes appear.
bool createDirectoryAtPath(FileCalls& files, const std::string& path);

// The number of entries of a folder and its sub-folders down to `layer` levels; 1 for what is no folder; 0 for the
// folder of volumes. Stops early, with what it has, at a stop of the run.
std::uint64_t calculateDirectoryNumbers(RunState& run, const std::string& path, int layer);

}  // namespace lumisk
