#include "platform/folder_watcher.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/paths.h"

// Events and roots; folder_watcher_scan.cpp has what puts the watches.

namespace lumisk {
namespace {

using Urgency = FolderWatcherSink::Urgency;

constexpr std::size_t kEventBuffer = std::size_t{256} * 1024;

bool isSameMount(const MountEntry& a, const MountEntry& b) {
  return a.id == b.id && a.mountPoint == b.mountPoint;
}

bool contains(const std::vector<MountEntry>& mounts, const MountEntry& one) {
  for (const MountEntry& mount : mounts)
    if (isSameMount(mount, one)) return true;
  return false;
}

}  // namespace

FolderWatcher::FolderWatcher(FolderWatcherSink& sink, AddWatch addWatch, LookAtRoot lookAtRoot)
    : sink_(sink),
      addWatch_(std::move(addWatch)),
      lookAtRoot_(std::move(lookAtRoot)),
      mountInfo_(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)),
      eventBuffer_(kEventBuffer) {
  if (!addWatch_) addWatch_ = ::inotify_add_watch;
  openInstance();
  readMounts();
}

// Where the user has too many instances, everything is rescanned, and this is tried again.
void FolderWatcher::openInstance() {
  if (!instance_.isOpen()) instance_ = Descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
}

void FolderWatcher::readEvents() {
  const ssize_t size = ::read(instance_.get(), eventBuffer_.data(), eventBuffer_.size());
  for (ssize_t at = 0; at < size;) {
    const auto* const event = reinterpret_cast<const inotify_event*>(eventBuffer_.data() + at);
    handle({event->wd, event->mask, event->len == 0 ? std::string_view() : std::string_view(event->name)});
    at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
  }
  around_ = {};
}

void FolderWatcher::handle(const Event& event) {
  if (event.mask & IN_Q_OVERFLOW) return restart();
  const auto known = byWatch_.find(event.watch);
  if (known == byWatch_.end()) return;
  std::vector<Index> nodes;
  for (Index node = known->second; node != WatchedTree::kNone; node = tree_[node].sameWatch) nodes.push_back(node);
  for (const Index node : nodes)
    if (tree_[node].watch == event.watch) handleAt(node, event);  // one may have taken another with it
}

void FolderWatcher::handleAt(Index node, const Event& event) {
  if (event.name.empty()) return handleSelf(node, event);
  if (sink_.isIgnored(tree_[tree_.rootOf(node)].stream, tree_.pathOf(node), event.name)) return;
  if (event.mask & IN_ISDIR) handleFolder(node, event);
  // A folder's own watch tells of its own attributes.
  const bool isOwnAffair = (event.mask & IN_ISDIR) && (event.mask & IN_ATTRIB);
  if (!isOwnAffair) tellChange(node, event.mask & IN_MODIFY ? Urgency::kStaysOpen : Urgency::kUsual);
}

void FolderWatcher::handleFolder(Index node, const Event& event) {
  if (!roots_[tree_.rootOf(node)].isRecursive) return;
  const bool hasArrived = event.mask & (IN_CREATE | IN_MOVED_TO);
  // Those without a watch do not tell themselves that they have gone, or may be read by now. They are few, or the
  // search among all siblings is not made.
  const Tally& tally = tallyOf(node);
  const bool isAnyUnwatched = tally.waiting + tally.counts.rescanned + tally.unreached > 0;
  const Index known = isAnyUnwatched ? tree_.child(node, event.name) : WatchedTree::kNone;
  if (known != WatchedTree::kNone && tree_[known].watch == WatchedTree::kNoWatch) {
    if (hasArrived || (event.mask & IN_ATTRIB)) return await(known);
    return forget(known);
  }
  if (!hasArrived) return;
  const Index child = tree_.addChild(node, event.name);
  await(child);
  scan(child);
}

void FolderWatcher::handleSelf(Index node, const Event& event) {
  const bool isRoot = tree_[node].parent == WatchedTree::kNone;
  if (event.mask & IN_ATTRIB) tellChange(node);
  if (event.mask & IN_UNMOUNT && !isRoot) tellChange(tree_[node].parent);
  if (event.mask & IN_IGNORED) {
    if (!isRoot) return forget(node);
    forgetBelow(node);
    roots_[node].isPresent = false;
  }
  if (event.mask & IN_MOVE_SELF && !isRoot && !leadsTo(tree_.pathOf(node), event.watch)) forget(node);
}

void FolderWatcher::tellChange(Index node, Urgency urgency) {
  sink_.changed(tree_[tree_.rootOf(node)].stream, tree_.pathOf(node), urgency);
}

// Roots.

void FolderWatcher::addRoot(std::uint16_t stream, const WatchedRoot& root) {
  const Index node = tree_.addRoot(root.path);
  tree_[node].stream = stream;
  roots_[node].isRecursive = root.isRecursive;
  awaitAnswer(node);
}

// As await() does, but that it is scanned when it is known to answer.
void FolderWatcher::awaitAnswer(Index root) {
  roots_[root].isFound = false;
  tree_[root].isWaiting = true;
  ++tallyOf(root).waiting;
  lookAtRoot_(tree_[root].name);
}

void FolderWatcher::removeStream(std::uint16_t stream) {
  for (auto root = roots_.begin(); root != roots_.end();) {
    if (tree_[root->first].stream != stream) {
      ++root;
      continue;
    }
    forget(root->first);
    root = roots_.erase(root);
  }
  tallies_.erase(stream);
}

void FolderWatcher::checkRoots() {
  for (const auto& [node, root] : roots_)
    if (!root.isFound || !tree_[node].isWaiting) lookAtRoot_(tree_[node].name);
}

void FolderWatcher::rootFound(const std::string& path, std::optional<FileIdentity> folder) {
  for (auto& [node, root] : roots_) {
    if (tree_[node].name != path) continue;
    if (std::exchange(root.isRescanDue, false)) awaitRescanned(node);
    if (!std::exchange(root.isFound, true))
      waiting_.push_back(node);
    else if (!tree_[node].isWaiting)
      checkRoot(node, root, folder);
  }
}

void FolderWatcher::checkRoot(Index node, Root& root, std::optional<FileIdentity> folder) {
  const bool isPresent = folder.has_value();
  const bool isSame = root.identity == folder.value_or(FileIdentity{});
  const bool wasPresent = std::exchange(root.isPresent, isPresent);
  if (isPresent == wasPresent && (isSame || !isPresent)) return;
  forgetBelow(node);
  if (!isPresent) return;
  await(node);
  tellChange(node);
}

void FolderWatcher::restart() {
  for (auto& [node, root] : roots_) {
    if (!root.isFound) continue;
    forgetBelow(node);
    awaitAnswer(node);
    tellChange(node);
  }
}

// Mounts.

void FolderWatcher::readMounts() {
  if (auto mounts = mountTable()) mounts_ = std::move(*mounts);
  pseudoMounts_.clear();
  for (const MountEntry& mount : mounts_)
    if (isPseudoFileSystem(mount.fileSystem)) pseudoMounts_.insert(mount.mountPoint);
}

void FolderWatcher::mountsChanged() {
  const std::vector<MountEntry> before = mounts_;
  readMounts();
  std::vector<std::string> places;
  for (const MountEntry& mount : before)
    if (!contains(mounts_, mount)) places.push_back(mount.mountPoint);
  for (const MountEntry& mount : mounts_)
    if (!contains(before, mount)) places.push_back(mount.mountPoint);
  checkRoots();
  for (const std::string& place : places)
    for (const auto& [node, root] : roots_)
      if (root.isRecursive && place != tree_[node].name && paths::isInside(place, tree_[node].name))
        resync(node, place);
}

// Another folder shows at a place below a root.
void FolderWatcher::resync(Index root, const std::string& place) {
  const auto names = paths::components(place);
  Index node = root;
  for (std::size_t i = paths::components(tree_[root].name).size(); i < names.size(); ++i) {
    const Index child = tree_.child(node, names[i]);
    if (i + 1 == names.size()) {
      if (child != WatchedTree::kNone) forget(child);
      if (pseudoMounts_.count(place) == 0) await(tree_.addChild(node, names[i]));
      return tellChange(node);
    }
    if (child == WatchedTree::kNone) return;
    node = child;
  }
}

// Records.

void FolderWatcher::await(Index node) {
  if (std::exchange(tree_[node].isWaiting, true)) return;
  ++tallyOf(node).waiting;
  waiting_.push_back(node);
}

void FolderWatcher::setWatch(Index node, int watch) {
  WatchedTree::Node& entry = tree_[node];
  if (entry.watch == watch) return;
  dropWatch(node);
  const auto [known, isNew] = byWatch_.try_emplace(watch, node);
  if (!isNew) entry.sameWatch = std::exchange(known->second, node);
  entry.watch = watch;
  ++tallyOf(node).counts.watched;
}

void FolderWatcher::dropWatch(Index node) {
  WatchedTree::Node& entry = tree_[node];
  if (entry.watch == WatchedTree::kNoWatch) return;
  const auto known = byWatch_.find(entry.watch);
  if (known->second == node) {
    known->second = entry.sameWatch;
  } else {
    Index before = known->second;
    while (tree_[before].sameWatch != node) before = tree_[before].sameWatch;
    tree_[before].sameWatch = entry.sameWatch;
  }
  if (known->second == WatchedTree::kNone) {
    byWatch_.erase(known);
    (void)::inotify_rm_watch(instance_.get(), entry.watch);
  }
  entry.watch = WatchedTree::kNoWatch;
  entry.sameWatch = WatchedTree::kNone;
  --tallyOf(node).counts.watched;
}

void FolderWatcher::setRescanned(Index node, bool isRescanned) {
  if (std::exchange(tree_[node].isRescanned, isRescanned) == isRescanned) return;
  auto& counted = tallyOf(node).counts.rescanned;
  isRescanned ? ++counted : --counted;
  if (!isRescanned) signatures_.erase(node);
}

void FolderWatcher::setUnreached(Index node, bool isUnreached) {
  if (std::exchange(tree_[node].isUnreached, isUnreached) == isUnreached) return;
  auto& counted = tallyOf(node).unreached;
  isUnreached ? ++counted : --counted;
}

void FolderWatcher::forgetBelow(Index node) {
  around_ = {};
  const auto nodes = tree_.subtree(node);
  for (auto each = nodes.rbegin(); each != nodes.rend(); ++each) {
    dropWatch(*each);
    setRescanned(*each, false);
    setUnreached(*each, false);
    if (std::exchange(tree_[*each].isWaiting, false)) --tallyOf(*each).waiting;
    if (*each != node) tree_.remove(*each);
  }
}

void FolderWatcher::forget(Index node) {
  forgetBelow(node);
  tree_.remove(node);
}

}  // namespace lumisk
