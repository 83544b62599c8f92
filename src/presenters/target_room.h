#pragma once

#include <functional>
#include <optional>
#include <string>

#include "presenters/background.h"
#include "presenters/target_scan.h"

namespace lumisk {

// What the page of a target shows: its volume, and what the job would bring there.
struct TargetRoom {
  std::string volumeName;
  std::string formatText;  // "Format: MS DOS FAT"; empty where unknown
  std::uint64_t bytes = 0;
  std::uint64_t freeBytes = 0;
  bool isKnown = false;  // the volume could be asked
  std::string lossText;  // what every file loses there; may be empty
  TargetNeed need;
  bool isCounting = false;

  [[nodiscard]] std::uint64_t usedBytes() const { return bytes - std::min(bytes, freeBytes); }
  // What the job adds to what is used.
  [[nodiscard]] std::uint64_t addedBytes() const { return need.bytes - std::min(need.bytes, need.replacedBytes); }
  [[nodiscard]] bool fits() const { return addedBytes() <= freeBytes; }
};

// "5.20 GB of 64.00 GB would be added; 20.00 GB stay free": the numbers of the pie, for everybody who cannot see it.
[[nodiscard]] std::string roomSentence(const TargetRoom& room);

// Asks the volume of the job's first target and counts the sources, in the background; the figures grow while it
// counts. Main thread only.
class TargetRoomPresenter {
 public:
  TargetRoomPresenter(FileCalls& files, Background background) : files_(files), task_(std::move(background)) {}

  // Begins anew when what is asked differs from what was asked last; without a source and a target it is empty.
  void look(const QUORVELPREFERENCEINFO& job);
  [[nodiscard]] const std::optional<TargetRoom>& room() const { return room_; }

  std::function<void()> changed = [] {};

 private:
  FileCalls& files_;
  BackgroundTask task_;
  QUORVELPREFERENCEINFO asked_;
  std::optional<TargetRoom> room_;
};

}  // namespace lumisk
