#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "jobs/job_record.h"
#include "presenters/target_traits.h"

namespace lumisk {

struct MisfitEntry {
  std::string path;  // at the source
  Misfit misfit = Misfit::kNone;
};

// What a run would bring to one target. Estimated: from sizes, and from what stands at the target already.
struct TargetNeed {
  std::uint64_t bytes = 0;           // that would be copied
  std::uint64_t replacedBytes = 0;   // of which so much takes the place of older copies
  std::uint64_t files = 0;           // that would be copied
  std::uint64_t entries = 0;         // looked at
  std::vector<MisfitEntry> misfits;  // the first kMostMisfits
  std::uint64_t misfitCount = 0;
  bool isBounded = false;  // the count was given up after kMostEntries: there is more
  bool hasUnreadable = false;
};
inline constexpr std::size_t kMostMisfits = 200;
inline constexpr std::uint64_t kMostEntries = 2'000'000;

// The sources whose target lies on the volume that is looked at, and where each would be copied to.
struct ScanPair {
  std::string source;
  std::string copy;
};
[[nodiscard]] std::vector<ScanPair> scanPairs(const QUORVELPREFERENCEINFO& job, const std::string& target);

struct ScanOrder {
  std::vector<ScanPair> pairs;
  std::vector<std::string> inclusion, exclusion;
  std::set<std::uint64_t> leftOutDevices;  // pseudo file systems: what is mounted there is never copied
  TargetTraits traits;
  std::uint64_t mostEntries = kMostEntries;
};

// Looks, and changes nothing. `isCancelled` is asked once per entry; `progress` is told of each folder that is done.
[[nodiscard]] TargetNeed scanForTarget(FileCalls& files, const ScanOrder& order,
                                       const std::function<bool()>& isCancelled,
                                       const std::function<void(const TargetNeed&)>& progress);

}  // namespace lumisk
