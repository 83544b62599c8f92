#pragma once

#include <string>

#include "clone/clone_refusal.h"
#include "clone/clone_state.h"

namespace lumisk {

// Opens both roots and finds out what whyRefused() asks for. An error is a path that cannot be opened.
Result<CloneFacts> openVolumes(CloneState& state);
// Opens the target's root, which must be the root of a volume that is mounted there from this block device.
Result<ClonedVolume> openTargetAgain(CloneState& state, std::uint64_t blockDevice);

// The kind of file system that an erased target gets: the source's where it can be made, else ext4.
[[nodiscard]] std::string fileSystemToMake(const std::string& sourceFileSystem);
[[nodiscard]] std::string deviceNodeOf(const MountEntry& mount);

}  // namespace lumisk
