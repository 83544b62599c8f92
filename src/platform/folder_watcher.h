#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/descriptor.h"
#include "platform/file_calls.h"
#include "platform/file_event_stream.h"
#include "platform/mount_table.h"
#include "platform/watched_tree.h"

namespace lumisk {

// What a watcher tells about its streams.
class FolderWatcherSink {
 public:
  virtual ~FolderWatcherSink() = default;
  enum class Urgency { kUsual, kStaysOpen /* written to, not closed */ };
  virtual void changed(std::uint16_t stream, const std::string& folder, Urgency urgency) = 0;
  virtual bool isIgnored(std::uint16_t stream, const std::string& folder, std::string_view name) = 0;
};

// Keeps the watches of all streams in step with the folders: one inotify(7) instance, one tree for each root. Of one
// thread, which calls it when the descriptor can be read and on timers. Nothing here waits.
class FolderWatcher {
 public:
  using AddWatch = std::function<int(int instance, const char* path, std::uint32_t mask)>;
  // Looks at a root some time, and calls rootFound() with what is there. May never come back to it.
  using LookAtRoot = std::function<void(const std::string& path)>;
  FolderWatcher(FolderWatcherSink& sink, AddWatch addWatch, LookAtRoot lookAtRoot);

  [[nodiscard]] int descriptor() const { return instance_.get(); }
  [[nodiscard]] int mountDescriptor() const { return mountInfo_.get(); }  // POLLPRI: mountsChanged()

  void addRoot(std::uint16_t stream, const WatchedRoot& root);
  void removeStream(std::uint16_t stream);

  void readEvents();
  // Goes on with the folders that are to be watched, for some milliseconds; whether there are more.
  bool scanSome();
  void checkRoots();
  void rootFound(const std::string& path, std::optional<FileIdentity> folder);
  // Both wait for each root's answer before they touch what lies below it.
  void rescan();   // those that could not be watched
  void restart();  // watches everything anew and tells all roots: what happened in between is unknown
  void mountsChanged();

  // Of one stream. A change is told to its observer when nothing waits, so that what is new is watched by then.
  struct Tally {
    std::uint64_t waiting = 0;
    std::uint64_t unreached = 0;
    WatchedCounts counts;
    bool isLimited = false;  // the kernel refused a watch
  };
  [[nodiscard]] const Tally& tally(std::uint16_t stream) { return tallies_[stream]; }

 private:
  using Index = WatchedTree::Index;
  struct Root {
    bool isRecursive = true;
    bool isFound = false;  // looked at: it is touched no sooner
    bool isRescanDue = false;
    bool isPresent = false;
    FileIdentity identity;
  };
  struct Event {
    int watch;
    std::uint32_t mask;
    std::string_view name;
  };
  struct Listing;

  void openInstance();
  void handle(const Event& event);
  void handleAt(Index node, const Event& event);
  void handleFolder(Index node, const Event& event);
  void handleSelf(Index node, const Event& event);
  void tellChange(Index node, FolderWatcherSink::Urgency urgency = FolderWatcherSink::Urgency::kUsual);

  void await(Index node);
  void awaitAnswer(Index root);
  void awaitRescanned(Index root);
  void scan(Index node);
  void cannotOpen(Index node, int code);
  Descriptor open(Index node, const std::string& path);
  bool watch(Index node, int folder);
  bool takePlaceOfKnown(Index node, int watch);
  [[nodiscard]] bool leadsTo(const std::string& path, int watch);
  void cannotWatch(Index node);
  void list(Index node, int folder, const std::string& path);
  void addSubfolder(Index node, const std::string& path, std::string_view name, Listing& listing);
  void takeSignature(Index node, std::uint64_t signature);

  void setWatch(Index node, int watch);
  void dropWatch(Index node);
  void setRescanned(Index node, bool isRescanned);
  void setUnreached(Index node, bool isUnreached);
  void forget(Index node);       // and all below it
  void forgetBelow(Index node);  // and its own watch
  void checkRoot(Index node, Root& root, std::optional<FileIdentity> folder);
  void readMounts();
  void resync(Index root, const std::string& place);
  Tally& tallyOf(Index node) { return tallies_[tree_[tree_.rootOf(node)].stream]; }

  FolderWatcherSink& sink_;
  AddWatch addWatch_;
  LookAtRoot lookAtRoot_;
  Descriptor instance_;
  Descriptor mountInfo_;
  std::vector<char> eventBuffer_;  // from the heap: aligned for any event
  WatchedTree tree_;
  std::map<Index, Root> roots_;
  std::unordered_map<int, Index> byWatch_;               // the first of a chain
  std::unordered_map<Index, std::uint64_t> signatures_;  // of those that are rescanned
  std::vector<Index> waiting_;
  std::map<std::uint16_t, Tally> tallies_;
  std::vector<MountEntry> mounts_;
  std::unordered_set<std::string> pseudoMounts_;
  std::vector<char> listBuffer_;
  // The folder around the one that was scanned last; closed when nothing is scanned, so that it holds no mount.
  struct {
    Index node = WatchedTree::kNone;
    Descriptor folder;
  } around_;
};

}  // namespace lumisk
