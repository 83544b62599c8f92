#include "engine/walk_state.h"

#include <cerrno>

#include "engine/folder_sides.h"

namespace lumisk {

void WalkState::beforeWriting() {
  prepareForWriting(run.files, stack.top());
}

void WalkState::wroteInto(const Descriptor& folder, const FileStatus& status) {
  run.written.wrote(-1, folder.get(), status.identity.device);
  wroteAnything = true;
}

void WalkState::record(const std::string& sourceName, const std::string& destinationName) {
  if (run.info.nAutoDeletion == 0 || run.dryRun) return;
  recorder.recordPair(stack.sourcePlace(sourceName).path, stack.destinationPlace(destinationName).path);
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
