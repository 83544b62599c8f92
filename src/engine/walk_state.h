#pragma once

#include "engine/copy_queue.h"
#include "engine/file_copier.h"
#include "engine/folder_ahead.h"
#include "engine/frame_stack.h"
#include "engine/hard_link_map.h"
#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "engine/time_granularity.h"
#include "engine/walk_borders.h"
#include "engine/walk_report.h"
#include "engine/walk_rules.h"

namespace lumisk {

// What the parts of one walk share.
struct WalkState {
  WalkState(RunState& ofRun, FileCopier& fileCopier, RunRecorder& runRecorder, WalkRules& walkRules)
      : run(ofRun), copier(fileCopier), recorder(runRecorder), rules(walkRules) {}

  RunState& run;
  FileCopier& copier;
  RunRecorder& recorder;
  WalkRules& rules;
  FrameStack stack{run.files};
  // After the stack, whose folders they use.
  FolderAhead ahead{run, rules};
  CopyQueue copies{run, copier, stack};
  WalkReport report{run, stack, copies};
  WalkBorders borders{run.files};
  HardLinkMap hardLinks;
  TimeGranularities granularities{run.files};
  bool wroteAnything = false;

  // Before an entry of the top folder's destination is made, replaced or removed: gives the owner the right to write
  // into it, which it loses again when the walk leaves.
  void beforeWriting();
  // Whether what is made in the top folder's destination starts without attributes.
  [[nodiscard]] bool entriesStartBare();
  // An entry was made, replaced or removed in an open folder at the destination.
  void wroteInto(const Descriptor& folder, const FileStatus& status);
  // For jobs that follow deletions.
  void record(const std::string& sourceName, const std::string& destinationName);
  // How coarse the dates in the top folder's destination are. Only once it has been asked for: it has to write.
  [[nodiscard]] std::chrono::nanoseconds granularity();
  // Whether an entry that was listed is gone by now, which is not an error of ours. A folder that still lists what it
  // cannot find is broken.
  [[nodiscard]] bool hasVanished(const std::string& sourceName, const Error& error);
};

}  // namespace lumisk
