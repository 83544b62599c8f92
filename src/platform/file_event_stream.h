#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

struct WatchedRoot {
  std::string path;
  bool isRecursive = true;  // false: what lies directly in it
  friend bool operator==(const WatchedRoot&, const WatchedRoot&) = default;
};

struct WatchedCounts {
  std::uint64_t watched = 0;    // folders that the kernel tells about
  std::uint64_t rescanned = 0;  // folders that it has no room for: they are looked at on a timer
};

// What a stream tells, on the thread of all streams: it must be quick and must not end a stream.
struct FileEventObserver {
  // Folders, each once and with a "/" at its end, in which something changed; anything below them may have.
  std::function<void(const std::vector<std::string>& folders)> eventCallback;
  // Once: everything is watched; what changes from here on is told. Before it nothing is.
  std::function<void()> onStanding{};
  // Once per stream, when the kernel's limit is reached; a line for the user.
  std::function<void(const std::string& text)> onLimit{};
};

struct FileEventOptions {
  std::chrono::nanoseconds latency = std::chrono::seconds(3);  // from the first change to the call
  // A file that is written to and stays open is told this late; it is told at once when it is closed.
  std::chrono::nanoseconds openFileLatency = std::chrono::seconds(30);
  // Entries that are none of the observer's business; such a folder is not watched either. `folder` has no "/" at its
  // end. Called on the thread of all streams. Empty: everything is.
  std::function<bool(const std::string& folder, std::string_view name)> isIgnored{};
};

// The thread that listens for all streams of the process, with the one inotify(7) instance that they share (a user may
// have 128 only). Outlives its streams. Its methods may be called from any thread.
//
// A folder is watched before it is listed, so that nothing falls between the two. Symbolic links below the roots are
// not followed; file systems mounted below them belong to them, unless they hold no files of users. Roots are looked at
// once a second: one that was removed, made again, mounted over or replaced is watched anew and told as changed. Where
// the kernel's queue overflows, all roots are told as changed. A root that does not answer (on a server that has gone)
// is left alone until it does, and keeps no other waiting.
class FileEventStreams {
 public:
  struct Settings {
    std::chrono::nanoseconds rootInterval = std::chrono::seconds(1);
    std::chrono::nanoseconds rescanInterval = std::chrono::seconds(60);
    // The kernel's calls, for tests that refuse them: nullptr is the kernel.
    std::function<int(int instance, const char* path, std::uint32_t mask)> addWatch{};
    // Finds the folder at a path, if there is one; may never return. For tests that hang; empty asks the system.
    std::function<std::optional<FileIdentity>(const std::string& path)> lookAtRoot{};
  };
  FileEventStreams() : FileEventStreams(Settings{}) {}
  explicit FileEventStreams(Settings settings);
  ~FileEventStreams();
  FileEventStreams(const FileEventStreams&) = delete;
  FileEventStreams& operator=(const FileEventStreams&) = delete;

  void simulateOverflow();  // for tests

 private:
  friend class FileEventStream;
  class Loop;
  std::unique_ptr<Loop> loop_;
};

// One observer's view. Made, it begins at once and returns; onStanding tells when it is complete. Gone, no callback
// runs and none will; whoever ends it waits for no folder.
class FileEventStream {
 public:
  FileEventStream(FileEventStreams& streams, std::vector<WatchedRoot> roots, FileEventObserver observer,
                  FileEventOptions options = {});
  ~FileEventStream();
  FileEventStream(const FileEventStream&) = delete;
  FileEventStream& operator=(const FileEventStream&) = delete;

  [[nodiscard]] WatchedCounts counts() const;  // any thread

 private:
  struct State;
  friend class FileEventStreams;
  FileEventStreams& streams_;
  std::shared_ptr<State> state_;
};

}  // namespace lumisk
