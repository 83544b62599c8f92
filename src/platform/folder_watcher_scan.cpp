#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>

#include "platform/folder_watcher.h"
#include "platform/paths.h"

// Puts the watches: each folder is opened, watched, then listed.

namespace lumisk {
namespace {

constexpr std::uint32_t kMask = IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MODIFY | IN_MOVED_FROM |
                                IN_MOVED_TO | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr int kOpenFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;
constexpr auto kSlice = std::chrono::milliseconds(20);
constexpr std::size_t kFoldersBetweenLooks = 64;
constexpr std::size_t kListBuffer = std::size_t{64} * 1024;
constexpr std::size_t kLongestPath = 4000;  // less than PATH_MAX

// A folder by a path of any length.
Descriptor openFolder(const std::string& path, int lastFlags) {
  int at = AT_FDCWD;
  Descriptor reached;
  std::size_t begin = 0;
  while (path.size() - begin > kLongestPath) {
    const std::size_t end = path.rfind('/', begin + kLongestPath);
    reached = Descriptor(::openat(at, path.substr(begin, end - begin).c_str(), kOpenFlags));
    if (!reached.isOpen()) return reached;
    at = reached.get();
    begin = end + 1;
  }
  return Descriptor(::openat(at, path.c_str() + begin, kOpenFlags | lastFlags));
}

bool isGone(int code) {
  return code == ENOENT || code == ENOTDIR || code == ELOOP;
}

bool isFolder(int parent, const dirent64& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status {};
  return ::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

std::uint64_t mixed(std::uint64_t value) {
  value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
  value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
  return value ^ (value >> 31U);
}

std::uint64_t nanoseconds(const timespec& time) {
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(time.tv_nsec);
}

// What changes whenever the entry does. A sum of these does not depend on the order of a listing.
std::uint64_t signatureOf(int parent, const char* name) {
  struct stat status {};
  if (::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return 0;
  std::uint64_t value = mixed(std::hash<std::string_view>{}(name) + status.st_ino);
  value = mixed(value + nanoseconds(status.st_mtim));
  value = mixed(value + nanoseconds(status.st_ctim));
  return mixed(value + static_cast<std::uint64_t>(status.st_size));
}

}  // namespace

struct FolderWatcher::Listing {
  std::unordered_set<std::string> known;  // sub-folders, where the folder was listed before
  std::uint64_t signature = 0;
};

bool FolderWatcher::scanSome() {
  const auto end = std::chrono::steady_clock::now() + kSlice;
  for (std::size_t done = 0; !waiting_.empty(); ++done) {
    if (done % kFoldersBetweenLooks == kFoldersBetweenLooks - 1 && std::chrono::steady_clock::now() > end) {
      around_ = {};
      return true;
    }
    const Index node = waiting_.back();
    waiting_.pop_back();
    if (tree_[node].isWaiting) scan(node);
  }
  waiting_.shrink_to_fit();
  around_ = {};
  return false;
}

void FolderWatcher::rescan() {
  openInstance();
  for (const auto& [node, signature] : signatures_) roots_[tree_.rootOf(node)].isRescanDue = true;
  for (const auto& [node, root] : roots_)
    if (root.isRescanDue) lookAtRoot_(tree_[node].name);
}

void FolderWatcher::awaitRescanned(Index root) {
  for (const auto& [node, signature] : signatures_)
    if (tree_.rootOf(node) == root) await(node);
}

void FolderWatcher::scan(Index node) {
  tree_[node].isWaiting = false;
  --tallyOf(node).waiting;
  const std::string path = tree_.pathOf(node);
  const auto root = roots_.find(node);
  const Descriptor folder = open(node, path);
  struct stat status {};
  if (!folder.isOpen() || ::fstat(folder.get(), &status) != 0) return cannotOpen(node, errno);
  setUnreached(node, false);
  tree_[node].inode = status.st_ino;
  if (root != roots_.end()) {
    root->second.identity = {status.st_dev, status.st_ino};
    root->second.isPresent = true;
  }
  if (!watch(node, folder.get())) return;
  if (tree_[node].isRescanned || roots_[tree_.rootOf(node)].isRecursive) list(node, folder.get(), path);
}

// In the folder around it. The tree lags behind the disk: a path may lead to another folder by now. Whatever has been
// renamed or removed, an event that tells of it is still to come, and decides about what cannot be reached until then.
Descriptor FolderWatcher::open(Index node, const std::string& path) {
  const Index parent = tree_[node].parent;
  if (parent == WatchedTree::kNone) return openFolder(path, 0);
  if (around_.node != parent) {
    around_ = {};
    const bool isRoot = tree_[parent].parent == WatchedTree::kNone;
    Descriptor folder = openFolder(tree_.pathOf(parent), isRoot ? 0 : O_NOFOLLOW);
    if (!folder.isOpen()) return folder;
    struct stat status {};
    if (::fstat(folder.get(), &status) != 0 || status.st_ino != tree_[parent].inode) {
      errno = ENOENT;
      return {};
    }
    around_ = {parent, std::move(folder)};
  }
  return Descriptor(::openat(around_.folder.get(), tree_[node].name.c_str(), kOpenFlags | O_NOFOLLOW));
}

void FolderWatcher::cannotOpen(Index node, int code) {
  const auto root = roots_.find(node);
  if (root != roots_.end()) {
    forgetBelow(node);
    root->second.isPresent = false;  // looked at again with the roots
  } else if (isGone(code) && tree_[tree_[node].parent].watch == WatchedTree::kNoWatch) {
    forget(node);
  } else if (isGone(code) || code == EACCES) {
    setUnreached(node, true);
  } else {
    cannotWatch(node);
  }
}

// False when the node is no more: the folder is known under another.
bool FolderWatcher::watch(Index node, int folder) {
  const std::string path = fmt::format("/proc/self/fd/{}", folder);
  const int watch = instance_.isOpen() ? addWatch_(instance_.get(), path.c_str(), kMask) : -1;
  if (watch < 0) {
    cannotWatch(node);
    tallyOf(node).isLimited = true;
    return true;
  }
  if (watch != tree_[node].watch && takePlaceOfKnown(node, watch)) return false;
  setWatch(node, watch);
  return true;
}

// A folder that was renamed keeps its watches and all that is known below it.
bool FolderWatcher::takePlaceOfKnown(Index node, int watch) {
  const auto chain = byWatch_.find(watch);
  if (chain == byWatch_.end() || tree_[node].parent == WatchedTree::kNone) return false;
  const Index root = tree_.rootOf(node);
  for (Index other = chain->second; other != WatchedTree::kNone; other = tree_[other].sameWatch) {
    const Index parent = tree_[node].parent;
    const bool isSamePlace = tree_[other].parent == parent && tree_[other].name == tree_[node].name;
    if (other == node || other == root || tree_.rootOf(other) != root) continue;
    if (!isSamePlace && leadsTo(tree_.pathOf(other), watch)) continue;  // the same folder, mounted twice
    const std::string name = tree_[node].name;
    forget(node);
    if (isSamePlace) return true;
    tree_.move(other, parent, name);
    for (const Index below : tree_.subtree(other))
      if (tree_[below].isUnreached) await(below);
    return true;
  }
  return false;
}

bool FolderWatcher::leadsTo(const std::string& path, int watch) {
  const Descriptor folder = openFolder(path, O_NOFOLLOW);
  if (!folder.isOpen()) return false;
  const int there = addWatch_(instance_.get(), fmt::format("/proc/self/fd/{}", folder.get()).c_str(), kMask);
  if (there >= 0 && byWatch_.count(there) == 0) (void)::inotify_rm_watch(instance_.get(), there);
  return there == watch;
}

void FolderWatcher::cannotWatch(Index node) {
  dropWatch(node);
  setRescanned(node, true);
  signatures_.try_emplace(node, 0);
}

void FolderWatcher::list(Index node, int folder, const std::string& path) {
  Listing listing;
  for (Index at = tree_[node].firstChild; at != WatchedTree::kNone; at = tree_[at].next)
    listing.known.insert(tree_[at].name);
  const bool isSigned = tree_[node].isRescanned;
  const bool isRecursive = roots_[tree_.rootOf(node)].isRecursive;
  listBuffer_.resize(kListBuffer);
  ssize_t size = 0;
  while ((size = ::getdents64(folder, listBuffer_.data(), listBuffer_.size())) > 0) {
    for (ssize_t at = 0; at < size;) {
      const auto& entry = *reinterpret_cast<const dirent64*>(listBuffer_.data() + at);
      at += entry.d_reclen;
      const std::string_view name = entry.d_name;
      if (name == "." || name == "..") continue;
      if (isSigned) listing.signature += signatureOf(folder, entry.d_name);
      if (isRecursive && isFolder(folder, entry)) addSubfolder(node, path, name, listing);
    }
  }
  if (isSigned) takeSignature(node, listing.signature);
  if (tree_[node].watch != WatchedTree::kNoWatch) setRescanned(node, false);
}

void FolderWatcher::addSubfolder(Index node, const std::string& path, std::string_view name, Listing& listing) {
  if (!listing.known.empty() && listing.known.count(std::string(name)) != 0) return;
  if (sink_.isIgnored(tree_[tree_.rootOf(node)].stream, path, name)) return;
  if (!pseudoMounts_.empty() && pseudoMounts_.count(paths::join(path, name)) != 0) return;
  await(tree_.addChild(node, name));
}

// Those below it that have gone are found when they are rescanned themselves.
void FolderWatcher::takeSignature(Index node, std::uint64_t signature) {
  const std::uint64_t current = signature == 0 ? 1 : signature;
  const std::uint64_t before = std::exchange(signatures_[node], current);
  if (before != 0 && before != current) tellChange(node);
}

}  // namespace lumisk
