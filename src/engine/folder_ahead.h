#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "engine/folder_frame.h"
#include "engine/frame_stack.h"
#include "engine/run_state.h"
#include "engine/walk_rules.h"
#include "engine/work_pool.h"

namespace lumisk {

class FolderFetch;

// Reads the sub-folders that a walk comes to next, on both sides, on the threads of the run's pool: opens and lists
// them and asks for the statuses of their files. Decides nothing, and nothing is told of an error here: what could not
// be read whole is left to the walk, which reads it again and says why. Without a pool there is nothing ahead.
//
// What was read ahead is a little older than what the walk would read itself, at most kFresh. So a pair of statuses is
// kept only where the two files are the same; whatever has to be written, or proven absent, the walk asks for anew.
// A folder is listed after its metadata were read, as the walk does it.
//
// Called on the run's thread, in step with the walk's stack.
class FolderAhead {
 public:
  static constexpr std::size_t kMostAhead = 16;       // of one level
  static constexpr std::size_t kMostAheadInAll = 32;  // two descriptors each
  static constexpr std::chrono::milliseconds kFresh{500};

  FolderAhead(RunState& run, WalkRules& rules) : run_(run), rules_(rules) {}
  FolderAhead(const FolderAhead&) = delete;
  FolderAhead& operator=(const FolderAhead&) = delete;
  ~FolderAhead();

  // What is known of this sub-folder of the stack's top: a frame with its source open and listed, and with its
  // destination where that stands; or an empty frame.
  FolderFrame take(const FrameStack& stack, const std::string& name);
  // The stack has a new top.
  void entered(const FrameStack& stack);
  // Before the stack's top is closed.
  void leaving();

 private:
  struct Level {
    std::size_t next = 0;    // of the source's names: the first that has not been looked at
    std::size_t window = 2;  // how many to read ahead; more where the sub-folders have none themselves
    std::deque<std::shared_ptr<FolderFetch>> fetches;
  };
  void plan(const FrameStack& stack, Level& level);
  [[nodiscard]] bool isWalked(const FrameStack& stack, const std::string& name);
  void add(const FrameStack& stack, Level& level, std::string name);
  void drop(Level& level);
  bool makeRoom(const Level& level);

  RunState& run_;
  WalkRules& rules_;
  std::deque<Level> levels_;
  std::size_t inAll_ = 0;
};

}  // namespace lumisk
