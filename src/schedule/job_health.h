#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/mount_table.h"
#include "platform/property_list.h"

namespace lumisk {

// What is not as it should be with a stored job, so that nobody finds out months later. Nothing when all is well, and
// for jobs that are not active. Pure but for the local time zone.

// The last moment on a week day at which the job was due and no run began, then or since: at least 2 minutes ago, and
// after the job was made or edited. Such runs are not caught up.
[[nodiscard]] std::optional<WallTime> missedRun(const PropertyList& job, WallTime now);
[[nodiscard]] std::string missedText(WallTime missed);  // "missed at 2009-03-03 14:30"

// Of a job with a schedule that has completed no run for longer than three periods of its timer, or 7 days.
struct Overdue {
  std::chrono::seconds age{};  // since the begin of the last completed run, or since the last edit
  bool hasCompleted = false;   // ever
};
[[nodiscard]] std::optional<Overdue> overdue(const PropertyList& job, WallTime now);
[[nodiscard]] std::string overdueText(const Overdue& overdue);  // "last completed 9 days ago", "never completed"

// The name of the volume that holds the first target, or the image with the target, that is absent, if it is one that
// comes and goes and is not mounted.
struct Surroundings {
  std::vector<MountEntry> mounts;
  std::string user;  // whose volumes appear below "/media/<user>"
  std::function<bool(const std::string& path)> exists;
};
[[nodiscard]] Surroundings surroundingsOfThisComputer();
[[nodiscard]] std::optional<std::string> waitingFor(const PropertyList& job, const Surroundings& surroundings);
[[nodiscard]] std::string waitingText(const std::string& volume);  // "waiting for Backup"

}  // namespace lumisk
