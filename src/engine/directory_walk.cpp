#include "engine/directory_walk.h"

#include "engine/copy_rule.h"
#include "engine/file_step.h"
#include "engine/folder_step.h"
#include "engine/walk_roots.h"

namespace lumisk {

// Steps through the entries of the folders on top of the stack, which grows and shrinks: no call nests deeper for a
// deeper tree. Entries are taken in the order of their names' bytes.
class DirectoryWalk::Walker {
 public:
  Walker(RunState& run, FileCopier& copier, RunRecorder& recorder, WalkRules& rules)
      : run_(run), walk_(run, copier, recorder, rules), roots_(walk_), folders_(walk_), files_(walk_) {}

  bool copyDirectory(const std::string& source, const std::string& destinationPath, int layer, int mode) {
    if (run_.mustStop() || !roots_.open(source, destinationPath, layer)) return false;
    folders_.entered();
    while (!walk_.stack.isEmpty()) {
      run_.waitWhilePaused();
      const FolderFrame& frame = walk_.stack.top();
      const bool isDone = frame.isLost || !frame.hasNext() || run_.mustStop();
      isDone ? folders_.leave() : step(mode);
    }
    return true;
  }
  [[nodiscard]] bool wroteAnything() const { return walk_.wroteAnything; }

 private:
  void step(int mode);
  void countEntry(const FolderFrame& frame, int mode);

  RunState& run_;
  WalkState walk_;
  WalkRoots roots_;
  FolderStep folders_;
  FileStep files_;
  WalkEntry entry_;  // kept for its memory
};

void DirectoryWalk::Walker::step(int mode) {
  FolderFrame& frame = walk_.stack.top();
  entry_.name.assign(frame.sourceNames.name(frame.next));
  const std::size_t index = frame.next++;
  const FileType listedType = frame.sourceNames.type(index);
  if (const char* reason = whyNotCopied(entry_.name)) {
    frame.passedBy += isTemporaryName(entry_.name) ? 0 : 1;
    // Nobody misses what we keep there for ourselves.
    if (!entry_.name.starts_with(".lumisk")) walk_.report.skipped(entry_.name, reason);
    return;
  }
  countEntry(frame, mode);
  entry_.source.type = listedType;
  entry_.isKnownSame = false;
  if (listedType == FileType::kFolder) return folders_.enter(entry_);
  const SameOnBoth* const same = frame.sameAt(index);
  if (same && !run_.doubtedSince && run_.clock.steadyNow() <= frame.sameUntil) {
    entry_.source = same->source;
    entry_.standing = same->standing;
    entry_.isKnownSame = true;
    return files_.handle(entry_);
  }
  auto status = run_.files.status(frame.source.get(), entry_.name);
  if (!status) {
    return walk_.hasVanished(entry_.name, status.error()) ? walk_.report.vanished(entry_.name)
                                                          : walk_.report.sourceFailed(entry_.name, status.error());
  }
  entry_.source = *status;
  entry_.source.type == FileType::kFolder ? folders_.enter(entry_) : files_.handle(entry_);
}

void DirectoryWalk::Walker::countEntry(const FolderFrame& frame, int mode) {
  run_.pace.afterEntry(mode);
  ++run_.counts.entries;
  if (frame.layer > 0) ++run_.m_nFileCount;
  run_.reportProgress(entry_.name, 0);
}

namespace {

bool isVolumesItself(const std::string& path) {
  return path == "/Volumes" || path == "//Volumes";
}

WalkRules& noRules() {
  static NoWalkRules rules;
  return rules;
}

}  // namespace

DirectoryWalk::DirectoryWalk(RunState& run, FileCopier& copier, RunRecorder& recorder)
    : DirectoryWalk(run, copier, recorder, noRules()) {}

DirectoryWalk::DirectoryWalk(RunState& run, FileCopier& copier, RunRecorder& recorder, WalkRules& rules)
    : walker_(std::make_unique<Walker>(run, copier, recorder, rules)) {}

DirectoryWalk::~DirectoryWalk() = default;

bool DirectoryWalk::copyDirectory(const std::string& source, const std::string& destinationPath, int layer, int mode) {
  return !isVolumesItself(source) && walker_->copyDirectory(source, destinationPath, layer, mode);
}

bool DirectoryWalk::wroteAnything() const {
  return walker_->wroteAnything();
}

}  // namespace lumisk
