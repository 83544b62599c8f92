#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/property_list.h"

namespace lumisk {

// Whether an array of jobs, as somebody wants to change it, may be stored: why not, in one line; nothing when it may.
// Only what the change touches is looked at. Pure.
[[nodiscard]] std::optional<std::string> problemOfJobList(const PropertyList::Array& before,
                                                          const PropertyList::Array& after);

// The names that belong to no job any longer, because their jobs are gone: jobs go by their uuid.
[[nodiscard]] std::vector<std::string> namesOfRemovedJobs(const PropertyList::Array& before,
                                                          const PropertyList::Array& after);

// The names of those that were not there before, by their uuid.
[[nodiscard]] std::vector<std::string> namesOfNewJobs(const PropertyList::Array& before,
                                                      const PropertyList::Array& after);

struct JobRenaming {
  std::string from, to;
  bool isShared = false;  // another job had, or has, one of the names
};
[[nodiscard]] std::vector<JobRenaming> renamingsOf(const PropertyList::Array& before, const PropertyList::Array& after);

}  // namespace lumisk
