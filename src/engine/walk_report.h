#pragma once

#include <string>

#include "engine/copy_queue.h"
#include "engine/frame_stack.h"
#include "engine/run_state.h"
#include "engine/walk_rules.h"

namespace lumisk {

// What a walk says about entries: to the log, to the run's counts and to whoever listens to them.
class WalkReport {
 public:
  WalkReport(RunState& run, const FrameStack& stack, CopyQueue& copies) : run_(run), stack_(stack), copies_(copies) {}

  // Of an entry of the folders that the walk is in.
  void outcome(EntryOutcome outcome, const std::string& name, const char* reason) const;
  void skipped(const std::string& name, const char* reason) const;
  void filtered(const std::string& name) const;
  void notWalked(const std::string& name, const char* reason) const;
  void notCopied(const WalkEntry& entry) const;  // by its type
  void clash(const WalkEntry& entry, const std::string& otherName) const;
  void copyFailed(const WalkEntry& entry, const Error& error) const;
  void linkFailed(const std::string& name) const;  // the copier has logged it
  void linkUnreadable(const std::string& name) const;
  void vanished(const std::string& name) const;
  void sourceFailed(const std::string& name, const Error& error) const;
  void destinationFailed(const std::string& name, const Error& error) const;

  // Of whole paths.
  void attributesFailed(const std::string& path, const Error& error) const;
  void creationFailed(const std::string& path, const Error& error) const;
  void metadataFailed(const std::string& path) const;
  void comeBackFailed(const std::string& path, const Error& error) const;
  void refused(const std::string& path, const char* reason) const;

 private:
  [[nodiscard]] const char* job() const { return run_.info.name.c_str(); }
  // The log, once it has all about what the walk has met before.
  [[nodiscard]] JobLog& log() const;
  void reason(const Error& error) const;

  RunState& run_;
  const FrameStack& stack_;
  CopyQueue& copies_;
};

}  // namespace lumisk
