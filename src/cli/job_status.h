#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/job_progress_message.h"
#include "platform/clock.h"
#include "platform/file_event_stream.h"
#include "platform/property_list.h"
#include "schedule/job_health.h"

namespace lumisk {

// What `lumisk status` shows. Pure.

struct JobState {
  PropertyList job;      // as it is stored
  bool running = false;  // in the instance
  bool paused = false;   // ... and its run stands still
  std::optional<JobProgressMessage> progress;
  WatchedCounts folders;  // of a real-time job, in the instance
  // What is not as it should be; see schedule/job_health.h.
  std::optional<WallTime> missed;
  std::optional<Overdue> overdue;
  std::optional<std::string> waitingFor;
};

struct InstanceState {
  bool running = false;
  std::vector<JobState> jobs;
};

// A line about the instance, then a table.
[[nodiscard]] std::string statusTable(const InstanceState& state, WallTime now);
// {"running": bool, "jobs": [...]}
[[nodiscard]] std::string statusJson(const InstanceState& state, WallTime now);

}  // namespace lumisk
