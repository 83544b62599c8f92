#include "engine/walk_state.h"

#include <cerrno>

namespace lumisk {
namespace {

constexpr std::uint32_t kOwnerEnters = 0100;
constexpr std::uint32_t kOwnerWrites = 0200;

}  // namespace

// Where the change of mode is refused the folder is not ours, and we may have the right to write by other ways.
void WalkState::beforeWriting() {
  FolderFrame& frame = stack.top();
  if (frame.isReadyForWriting) return;
  frame.isReadyForWriting = true;
  constexpr std::uint32_t kNeeded = kOwnerEnters | kOwnerWrites;
  const std::uint32_t mode = frame.destinationStatus.mode;
  if ((mode & kNeeded) == kNeeded) return;
  frame.wasMadeWritable = run.files.setMode(frame.destination.get(), mode | kNeeded).has_value();
}

bool WalkState::entriesStartBare() {
  FolderFrame& frame = stack.top();
  if (!frame.entriesStartBare) {
    const auto inherit = newEntriesInherit(run.files, frame.destination.get());
    frame.entriesStartBare = inherit && !*inherit;
  }
  return *frame.entriesStartBare;
}

void WalkState::wroteInto(const Descriptor& folder, const FileStatus& status) {
  run.written.wrote(-1, folder.get(), status.identity.device);
  wroteAnything = true;
}

void WalkState::record(const std::string& sourceName, const std::string& destinationName) {
  if (run.info.nAutoDeletion == 0 || run.dryRun) return;
  copies.then(
      [this, source = stack.sourcePlace(sourceName).path, destination = stack.destinationPlace(destinationName).path] {
        recorder.recordPair(source, destination);
      });
}

std::chrono::nanoseconds WalkState::granularity() {
  const FolderFrame& root = stack.roots();
  const FolderFrame& here = stack.top();
  const std::uint64_t device = here.destinationStatus.identity.device;
  const bool isOnRootDevice = root.destinationStatus.identity.device == device;
  return granularities.of(isOnRootDevice ? root.destination.get() : here.destination.get(), device);
}

bool WalkState::hasVanished(const std::string& sourceName, const Error& error) {
  if (error.code != ENOENT) return false;
  const auto names = listNames(run.files, stack.top().source.get());
  return names && !names->contains(sourceName);
}

}  // namespace lumisk
