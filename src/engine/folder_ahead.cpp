#include "engine/folder_ahead.h"

#include "engine/folder_sides.h"
#include "engine/walk_borders.h"

namespace lumisk {

// One sub-folder, on both sides.
class FolderFetch : public WorkPool::Task {
 public:
  FolderFetch(const RunState& run, int source, int destination, std::string folder)
      : planned(run.clock.steadyNow()),
        name(std::move(folder)),
        run_(run),
        source_(source),
        destination_(destination) {}

  void run() override {
    isRead = readSource().has_value();
    // The walk opens it itself then, and says why it cannot.
    if (isRead && destination_ >= 0 && !readDestination()) frame.destination.reset();
    if (isRead && frame.destination.isOpen()) compare();
  }

  const std::chrono::steady_clock::time_point planned;
  const std::string name;
  FolderFrame frame;
  bool isRead = false;

 private:
  Result<void> readSource() {
    LUMISK_TRY(Descriptor folder, run_.files.openFolder(source_, name));
    LUMISK_CHECK(takeSource(run_, frame, std::move(folder)));
    return listSource(run_.files, frame);
  }

  Result<void> readDestination() {
    LUMISK_TRY(Descriptor folder, run_.files.openFolder(destination_, name));
    return takeStanding(run_.files, frame, std::move(folder));
  }

  void compare() {
    // The rest of a longer listing is the walk's, so that memory has a bound.
    constexpr std::size_t kMostStatuses = 2000;
    const std::size_t count = std::min(frame.sourceNames.size(), kMostStatuses);
    frame.same.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      if (frame.sourceNames.type(i) != FileType::kRegular) continue;
      const std::string file(frame.sourceNames.name(i));
      if (frame.destinationNames.find(file) == FileType::kRegular) compare(file, frame.same[i]);
    }
  }

  void compare(const std::string& file, SameOnBoth& same) {
    const auto here = run_.files.status(frame.source.get(), file);
    const auto there = here ? run_.files.status(frame.destination.get(), file) : fail(here.error());
    if (!there || here->type != FileType::kRegular || there->type != FileType::kRegular) return;
    if (here->modified == there->modified && here->size == there->size) same = {*here, *there};
  }

  const RunState& run_;  // of it only what never changes during a run
  const int source_;
  const int destination_;  // -1: stands not there
};

FolderAhead::~FolderAhead() {
  for (Level& level : levels_) drop(level);
}

void FolderAhead::entered(const FrameStack& stack) {
  if (!run_.pool) return;
  levels_.emplace_back();
  // With the next folder the stack closes those of the level that is so far up.
  if (levels_.size() >= FrameStack::kOpenLevels) drop(levels_[levels_.size() - FrameStack::kOpenLevels]);
  plan(stack, levels_.back());
  if (levels_.size() == 1) return;
  Level& above = levels_[levels_.size() - 2];
  // Where the walk goes deeper, what lies beside its way is long in coming.
  above.window = levels_.back().fetches.empty() ? std::min(2 * above.window, kMostAhead) : 2;
}

void FolderAhead::leaving() {
  if (levels_.empty()) return;
  drop(levels_.back());
  levels_.pop_back();
}

FolderFrame FolderAhead::take(const FrameStack& stack, const std::string& name) {
  if (levels_.empty()) return {};
  Level& level = levels_.back();
  std::shared_ptr<FolderFetch> fetch;
  while (!fetch && !level.fetches.empty() && level.fetches.front()->name <= name) {
    if (level.fetches.front()->name == name)
      fetch = level.fetches.front();
    else
      run_.pool->drop(*level.fetches.front());  // the walk has passed it by
    level.fetches.pop_front();
    --inAll_;
  }
  plan(stack, level);
  if (!fetch) return {};
  if (run_.clock.steadyNow() - fetch->planned > kFresh) {
    run_.pool->drop(*fetch);
    return {};
  }
  run_.pool->finish(*fetch);
  fetch->frame.sameUntil = fetch->planned + kFresh;
  return fetch->isRead ? std::move(fetch->frame) : FolderFrame{};
}

void FolderAhead::plan(const FrameStack& stack, Level& level) {
  const FolderFrame& frame = stack.top();
  level.next = std::max(level.next, frame.next);
  for (; level.next < frame.sourceNames.size() && level.fetches.size() < level.window; ++level.next) {
    if (frame.sourceNames.type(level.next) != FileType::kFolder) continue;
    if (!makeRoom(level)) return;
    std::string name(frame.sourceNames.name(level.next));
    if (isWalked(stack, name)) add(stack, level, std::move(name));
  }
}

bool FolderAhead::isWalked(const FrameStack& stack, const std::string& name) {
  return !whyNotCopied(name) && !whyNotWalked(name) && !rules_.passesBy(stack, name);
}

void FolderAhead::add(const FrameStack& stack, Level& level, std::string name) {
  const FolderFrame& frame = stack.top();
  const bool stands = frame.destinationNames.find(name) == FileType::kFolder;
  const int destination = stands ? frame.destination.get() : -1;
  level.fetches.push_back(std::make_shared<FolderFetch>(run_, frame.source.get(), destination, std::move(name)));
  // Of small folders beside each other a thread finds several when it comes.
  const bool areMany = level.window >= kMostAhead / 2;
  run_.pool->add(level.fetches.back(), areMany ? WorkPool::Size::kTiny : WorkPool::Size::kWorthWaking);
  ++inAll_;
}

void FolderAhead::drop(Level& level) {
  for (const auto& fetch : level.fetches) run_.pool->drop(*fetch);
  inAll_ -= level.fetches.size();
  level.fetches.clear();
}

// What lies highest up is needed last.
bool FolderAhead::makeRoom(const Level& level) {
  for (Level& above : levels_) {
    if (inAll_ < kMostAheadInAll || &above == &level) break;
    drop(above);
  }
  return inAll_ < kMostAheadInAll;
}

}  // namespace lumisk
