#pragma once

#include <string>

#include "platform/file_calls.h"
#include "platform/file_event_stream.h"

namespace lumisk {

// One entry in an open folder. `path` is absolute, for records and messages only.
struct Place {
  int folder = -1;
  std::string name;
  std::string path;
  // What is made in the folder is known to start without attributes (newEntriesInherit()).
  bool startsBare = false;
  // The folder as this run has made it; null when it stood before. Valid as long as the descriptor.
  const FileStatus* madeFolder = nullptr;
};

// Keeps the version that is about to be overwritten. Where it can, by a second name for the same file, so that the
// destination is never absent; else by moving it.
class VersionKeeper {
 public:
  enum class Kept {
    kNothing,  // not this keeper's business: nothing was done
    kLinked,   // the version has a second name; the destination still stands
    kMoved,    // the version was moved; the destination is absent now
  };
  virtual ~VersionKeeper() = default;
  // Fails when the version must be kept and could not be: then nothing may be overwritten.
  virtual Result<Kept> keep(const Place& destination, const FileStatus& standing) = 0;
};

// Keeps no revisions: always kNothing.
class NoRevisions : public VersionKeeper {
 public:
  Result<Kept> keep(const Place&, const FileStatus&) override { return Kept::kNothing; }
};

// Learns which source was carried to which destination (the file list of jobs that follow deletions).
class RunRecorder {
 public:
  virtual ~RunRecorder() = default;
  virtual void recordPair(const std::string& source, const std::string& destination) = 0;
};

// Records nothing.
class NoRunRecord : public RunRecorder {
 public:
  void recordPair(const std::string&, const std::string&) override {}
};

// Mounts the disk image that holds a job's target.
class ImageMounter {
 public:
  virtual ~ImageMounter() = default;
  virtual bool mountTheLumiskDMGFileAtPath(const std::string& path) = 0;
  virtual bool detachImage(const std::string& path) = 0;  // all that was written is in the image then
  // Whether the folder lies on the volume inside, and not where that would be.
  virtual bool isInImage(const std::string& folder, const std::string& path) = 0;
  // Whether the keychain can open the image without asking.
  virtual bool isAKeychainDMGAtPath(const std::string& path) = 0;
};

// Mounts nothing: a target inside an image is found only where it is mounted already.
class NoImages : public ImageMounter {
 public:
  bool mountTheLumiskDMGFileAtPath(const std::string&) override { return false; }
  bool detachImage(const std::string&) override { return false; }
  bool isInImage(const std::string&, const std::string&) override { return true; }
  bool isAKeychainDMGAtPath(const std::string&) override { return false; }
};

// Who decides when a worker runs; for runs that its own listening starts. Any thread may call.
class RunScheduler {
 public:
  virtual ~RunScheduler() = default;
  // A full run, as soon as it can be. False, and nothing, while one is under way.
  virtual bool setImmediateEvent() = 0;
  virtual void setCopyingState(bool copying) = 0;  // a pass of the listening began or ended
};

// Real-time listening of one worker, and waiting for its target. Called by one thread at a time, never from a run.
class EventListening {
 public:
  virtual ~EventListening() = default;
  virtual void startFSEventThread() = 0;
  virtual void stopFSEventThread() = 0;  // does nothing when it was not started
  // For jobs that do not listen but must wait for a target that they cannot mount themselves.
  virtual void startCheckTargetThreadWithoutFSEvent() {}
  virtual void stopCheckTargetThread() {}
  [[nodiscard]] virtual WatchedCounts counts() { return {}; }  // any thread
};

// Listens to nothing: a real-time job runs when it is asked to.
class NoListening : public EventListening {
 public:
  void startFSEventThread() override {}
  void stopFSEventThread() override {}
};

}  // namespace lumisk
