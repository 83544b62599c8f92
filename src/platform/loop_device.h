#pragma once

#include <cstdint>
#include <string>

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

// A block device that shows the bytes of a file; goes by itself when nobody has it open or mounted any more. loop(4).
struct LoopDevice {
  Descriptor device;
  std::string node;  // "/dev/loop3"
};

// The file is opened, for reading and writing, by a process that is the given user in every respect: root itself cannot
// look into what a user's own programs show (fuse(4)), and a user gets nothing at what he could not open. Needs root.
// EINVAL for what is no regular file; ETIMEDOUT when whoever shows the file does not answer.
Result<LoopDevice> showAsBlocks(const std::string& path, std::uint32_t user, std::uint32_t group);

// A volume that users made, so that nothing on it may rule the machine: ext4 and nothing else, no programs with
// another's rights, no devices, and damage makes it read-only whatever it says itself.
Result<void> mountUsersVolume(const std::string& node, const std::string& place);

enum class Detach { kWhenUnused, kAtOnce };
Result<void> unmountUsersVolume(const std::string& place, Detach detach);

}  // namespace lumisk
