#pragma once

#include <optional>
#include <string>

#include "platform/property_list.h"

// Rules about the dictionary of the user defaults that holds the jobs. Pure. Only for the sources of this folder.
namespace lumisk::storedJobs {

// Whether jobs stand there that loading finds: an array, and the store's name beside it.
[[nodiscard]] bool areLoadable(const PropertyList::Dictionary& defaults);
// Moves what stands under the job array's key and cannot be loaded to a dated key, which it gives; nothing when there
// is no such thing.
std::optional<std::string> keepUnloadable(PropertyList::Dictionary& defaults, WallTime now);
// Puts the array there, with the name and the switch that belong to it.
void write(PropertyList::Dictionary& defaults, PropertyList::Array jobs);

}  // namespace lumisk::storedJobs
