#pragma once

#include <cstddef>

#include "platform/clock.h"

namespace lumisk {

enum class PaceKind { kGentle, kFull };

// How hard a run pushes the machine. Takes no part in any decision: both kinds give the same result.
class Pace {
 public:
  Pace(PaceKind kind, Clock& clock) : kind_(kind), clock_(clock) {}

  void beginRun() const;            // on the run's thread: asks for exact sleeps
  void afterEntry(int mode) const;  // gentle: 50 microseconds in mode 3, else 80
  void afterChunk() const;          // gentle: 80 microseconds
  // Gentle: 8192. Full: what measured best for plain reads and writes.
  [[nodiscard]] std::size_t chunkSize() const;
  // Whether the kernel may copy or share whole ranges by itself.
  [[nodiscard]] bool mayOffload() const { return kind_ == PaceKind::kFull; }

 private:
  PaceKind kind_;
  Clock& clock_;
};

}  // namespace lumisk
