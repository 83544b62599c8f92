#pragma once

#include "platform/property_list.h"

namespace lumisk {

// Changes of the job array, made on a copy by one process and carried out on the stored array by the one that owns it.
// Pure. A job is known by its "uuidString"; a change says what was there and what shall be there, key by key, so that
// changes of different keys of one job (an edit here, the end of a run there) both survive, whoever comes first.
//
// {"before": job, "after": job}; a new job has no "before", a removed one no "after".
inline constexpr const char* kChangeBeforeKey = "before";
inline constexpr const char* kChangeAfterKey = "after";
[[nodiscard]] PropertyList::Array jobChanges(const PropertyList::Array& before, const PropertyList::Array& after);

enum class MergeVerdict {
  kMerged,
  kConflict,       // a key that the change touches is not what the change believes it to be; nothing is changed
  kNotUnderstood,  // no such change can be made
};
// The array with all the changes, or none.
[[nodiscard]] MergeVerdict mergeJobChanges(const PropertyList::Array& changes, PropertyList::Array& jobs);

// Whether they differ in anything but what runs write.
[[nodiscard]] bool differInSettings(const PropertyList& one, const PropertyList& other);

}  // namespace lumisk
