#pragma once

#include <string>
#include <vector>

#include "platform/mount_table.h"
#include "platform/property_list.h"

namespace lumisk {

// Which jobs a volume that comes, or an image that is there, concerns. Pure.

// The target folders of a stored job: one, or one for each source.
[[nodiscard]] std::vector<std::string> targetsOf(const PropertyList& job);

// Whether a target lies on the volume that is mounted there: by whole components, its first two where it has more than
// two (as in "/Volumes/Backup/jobs"), or by the mount that is deepest above it.
[[nodiscard]] bool liesOnVolume(const std::string& target, const std::string& mountPath,
                                const std::vector<MountEntry>& mounts);

// Mount points of file systems that can hold somebody's files.
[[nodiscard]] std::vector<std::string> volumesOf(const std::vector<MountEntry>& mounts);

// What the look at a job with a disk image comes to: a job that cannot reach its target is disabled, not failed.
enum class StatusRefresh { kNothing, kEnable, kDisable };
[[nodiscard]] StatusRefresh statusRefresh(bool targetExists, bool autoMount);

}  // namespace lumisk
