#include "engine/frame_stack.h"

#include <cerrno>

#include "engine/folder_path.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

void appendName(std::string& path, std::string_view name) {
  if (path.empty() || path.back() != '/') path += '/';
  path += name;
}

// What follows the root's part of a path, without a leading slash.
std::string_view below(std::string_view path, std::size_t rootLength) {
  path.remove_prefix(std::min(rootLength, path.size()));
  while (!path.empty() && path.front() == '/') path.remove_prefix(1);
  return path;
}

Result<Descriptor> onlyIfSame(FileCalls& files, Result<Descriptor> opened, const FileIdentity& expected) {
  if (!opened) return opened;
  LUMISK_TRY(const FileStatus status, files.statusOf(opened->get()));
  if (status.identity != expected) return fail("come back to the folder", "", ESTALE);
  return opened;
}

// By way of the open child, and from the root when that was moved meanwhile.
Result<Descriptor> openAgain(FileCalls& files, const Descriptor& child, const Descriptor& root,
                             std::string_view relative, const FileIdentity& expected) {
  if (child.isOpen()) {
    auto parent = onlyIfSame(files, files.openParent(child.get()), expected);
    if (parent) return parent;
  }
  return onlyIfSame(files, openFolderBelow(files, root.get(), std::string(relative)), expected);
}

bool isClosed(const FolderFrame& frame) {
  return !frame.source.isOpen();
}

}  // namespace

void FrameStack::begin(FolderFrame roots, std::string sourcePath, std::string destinationPath) {
  source_ = std::move(sourcePath);
  destination_ = std::move(destinationPath);
  levels_.clear();
  levels_.push_back({std::make_shared<FolderFrame>(std::move(roots)), source_.size(), destination_.size()});
}

void FrameStack::push(FolderFrame frame, std::string_view sourceName, std::string_view destinationName) {
  appendName(source_, sourceName);
  appendName(destination_, destinationName);
  levels_.push_back({std::make_shared<FolderFrame>(std::move(frame)), source_.size(), destination_.size()});
  if (levels_.size() <= kOpenLevels + 1) return;
  FolderFrame& far = *levels_[levels_.size() - 1 - kOpenLevels].frame;
  far.source.reset();
  far.destination.reset();
}

std::shared_ptr<const FrameStack::Visit> FrameStack::here() {
  Level& level = levels_.back();
  if (!level.visit) level.visit = std::make_shared<const Visit>(Visit{level.frame, source_, destination_});
  return level.visit;
}

void FrameStack::revisit(const Visit& visit, const std::function<void()>& something) {
  if (&top() == visit.frame.get()) return something();
  const std::string source = std::exchange(source_, visit.sourcePath);
  const std::string destination = std::exchange(destination_, visit.destinationPath);
  levels_.push_back({visit.frame, source_.size(), destination_.size()});
  something();
  levels_.pop_back();
  source_ = source;
  destination_ = destination;
}

Result<void> FrameStack::pop() {
  const Level left = std::move(levels_.back());
  levels_.pop_back();
  if (levels_.empty()) return {};
  source_.resize(levels_.back().sourceLength);
  destination_.resize(levels_.back().destinationLength);
  FolderFrame& frame = *levels_.back().frame;
  if (!isClosed(frame)) return {};
  auto reopened = reopen(frame, *left.frame);
  frame.isLost = !reopened;
  return reopened;
}

Result<void> FrameStack::reopen(FolderFrame& frame, const FolderFrame& child) {
  LUMISK_TRY(Descriptor source, openAgain(files_, child.source, roots().source,
                                          below(source_, levels_.front().sourceLength), frame.sourceStatus().identity));
  if (frame.destinationState != DestinationState::kAbsent) {
    LUMISK_TRY(frame.destination, openAgain(files_, child.destination, roots().destination, belowDestinationRoot(),
                                            frame.destinationStatus.identity));
  }
  frame.source = std::move(source);
  return {};
}

Place FrameStack::sourcePlace(const std::string& name) const {
  return {levels_.back().frame->source.get(), name, paths::join(source_, name)};
}

Place FrameStack::destinationPlace(const std::string& name) const {
  const FolderFrame& frame = *levels_.back().frame;
  const bool isMade = frame.destinationState == DestinationState::kNew;
  return {frame.destination.get(), name, paths::join(destination_, name), frame.entriesStartBare == true,
          isMade ? &frame.destinationStatus : nullptr};
}

std::string_view FrameStack::belowDestinationRoot() const {
  return below(destination_, levels_.front().destinationLength);
}

std::string_view FrameStack::destinationRoot() const {
  return std::string_view(destination_).substr(0, levels_.front().destinationLength);
}

}  // namespace lumisk
