#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_event_stream.h"

namespace lumisk {

// A stream of folder events that goes on until it goes.
class FolderEvents {
 public:
  virtual ~FolderEvents() = default;
  [[nodiscard]] virtual WatchedCounts counts() const = 0;
};
// Makes one. Its observer is called on another thread.
using ListenToFolders =
    std::function<std::unique_ptr<FolderEvents>(std::vector<WatchedRoot>, FileEventObserver, FileEventOptions)>;
[[nodiscard]] ListenToFolders listenWith(FileEventStreams& streams);

// What is fed with changed folders.
class FolderEventReceiver {
 public:
  virtual ~FolderEventReceiver() = default;
  virtual void addStringArrayToArray(const std::vector<std::string>& folders) = 0;
  virtual void watchingHasBegun() = 0;  // all folders are watched; what changed before is not told
  virtual void watchingIsLimited(const std::string& text) = 0;
};

// Runs the stream of one job and hands on what it tells, pruned. Of one thread; the receiver is called on the stream's.
class watchFileController {
 public:
  watchFileController(ListenToFolders listen, FolderEventReceiver& receiver)
      : listen_(std::move(listen)), receiver_(receiver) {}

  // `target`: the job's, whose revisions and marks cause no events.
  void startWatchFileWithArray(const std::vector<WatchedRoot>& roots, const std::string& target);
  bool stopWatchFile();  // true; nothing is handed on any more
  [[nodiscard]] WatchedCounts counts() const { return _stream ? _stream->counts() : WatchedCounts{}; }

 private:
  ListenToFolders listen_;
  FolderEventReceiver& receiver_;
  std::unique_ptr<FolderEvents> _stream;
};

}  // namespace lumisk
