#pragma once

#include <deque>
#include <string>

#include "devices/media_events.h"
#include "platform/main_loop.h"
#include "platform/media_registry.h"

namespace lumisk {

// Media that wait to be handed out; emptied by those who are given them.
using MediaIterator = std::deque<Medium>;

// Tells when a partition that can be taken out and written to is attached or detached, and what it hangs on. Registry
// and loop must outlive it. start(), close() and the callbacks belong to the main thread; the lookups may be called
// from any thread.
class TivIOMediaObject {
 public:
  TivIOMediaObject(MediaRegistry& registry, MainLoop& loop) : registry_(registry), loop_(loop) {}

  // 0, or -1 after a line on standard output. What is attached already is told before it returns, what comes and goes
  // afterwards from the loop, until close() or the end of this object.
  int start(MediaCallback newCallback, void* newContext);
  void close();

  // The type of a medium, and whether it is one that is told about at all. A medium without a name is of type kOther.
  [[nodiscard]] MediaType filterMessage(const Medium& service, bool& isCandidate) const;
  // By name, and by the registry's entry. What cannot be looked up counts as USB: an event is told in any case.
  [[nodiscard]] MediaType filterDevice(const std::string& bsdName) const;
  [[nodiscard]] MediaType filterMediaType(const std::string& entry) const;
  // The same, with kOther for what cannot be looked up.
  [[nodiscard]] MediaType findeDeviceInfo(const std::string& bsdName) const;
  [[nodiscard]] MediaType collectDeviceInfo(const std::string& entry) const;
  // Whether the folder lies on a USB or FireWire device; not when there is no such folder.
  [[nodiscard]] bool collectFolderInfo(const std::string& path) const;

  static void MyDeviceAddedCallback(TivIOMediaObject& reference, MediaIterator& iterator);
  static void MyDeviceRemovedCallback(TivIOMediaObject& reference, MediaIterator& iterator);

 private:
  void deliver(MediaIterator& iterator, MediaEvent event);
  void deliverChanges();

  MediaCallback callback = nullptr;
  void* context = nullptr;
  MediaRegistry& registry_;
  MainLoop& loop_;
  MainLoop::SourceHandle source_;
};

}  // namespace lumisk
