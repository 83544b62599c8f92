#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "engine/copy_rule.h"
#include "engine/file_copier.h"
#include "engine/frame_stack.h"
#include "engine/walk_rules.h"
#include "engine/work_pool.h"

namespace lumisk {

// A small file that the walk has decided to copy to a name that is proven absent.
struct LaggingCopy {
  std::shared_ptr<const FrameStack::Visit> at;
  WalkEntry entry;
  CopyDecision decision;
  bool isRecorded = false;  // whether its pair belongs into the list of files
  bool startsBare = false;  // see Place
};

// Copies that the walk does not wait for: the threads of the run's pool carry them, a few neighbours at a time, and the
// run's thread tells their outcomes, in the order in which they were decided. What must not be told or done before that
// (a folder's own dates, a line in the log) waits in the same row. So a run gives the same tree, counts, list and log
// whatever the number of threads; only the moments differ.
//
// Safety does not hang on the order in which the copies are made: each is a copy to a name that is proven absent, put
// in place by a rename that replaces nothing, into a folder that the walk holds open.
//
// All methods are for the run's thread. Bounded: some two hundred files and 112 folders lag at most.
class CopyQueue {
 public:
  // Called when a copy is done, with the stack's top as it was when it was decided.
  using Done = std::function<void(LaggingCopy&, Result<FileCopier::Copied>)>;

  CopyQueue(RunState& run, FileCopier& copier, FrameStack& stack) : run_(run), copier_(copier), stack_(stack) {}
  CopyQueue(const CopyQueue&) = delete;
  CopyQueue& operator=(const CopyQueue&) = delete;
  ~CopyQueue();

  // Set once, before anything is added.
  Done onDone;

  [[nodiscard]] bool takes(const WalkEntry& entry) const;
  void add(LaggingCopy copy);
  // Does it with the stack's top as it is, as soon as all that was added before is done; at once if nothing was.
  void then(std::function<void()> something);
  // Returns when all is done and told.
  void drain();

 private:
  class Batch;
  Batch& openBatch();
  void begin();
  void tellFront();
  void tell(Batch& batch);

  RunState& run_;
  FileCopier& copier_;
  FrameStack& stack_;
  // Not in use by a thread. Each has a large buffer.
  std::mutex idleLock_;
  std::vector<std::unique_ptr<FileTransport>> idle_;
  std::deque<std::shared_ptr<Batch>> batches_;  // the last one may still be open
  bool lastIsOpen_ = false;
  bool isTelling_ = false;
};

}  // namespace lumisk
