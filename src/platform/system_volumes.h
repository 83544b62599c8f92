#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

// The devices (as in volume::Device) that the running system lives on: what holds "/", "/usr", "/boot", "/home" and
// their like, the home folders of the accounts, this program, the given places, and what it swaps to. Volumes that are
// only mounted somewhere are not among them.
Result<std::vector<std::uint64_t>> devicesOfRunningSystem(const std::vector<std::string>& alsoHolding);

// The device number of a block device's file below /dev; "sdb1" stands for "/dev/sdb1". ENOTBLK for anything else.
Result<std::uint64_t> blockDeviceNamed(const std::string& name);

// Locks that hold until the descriptor is closed in every process that has it; EBUSY when another holds it otherwise.
enum class LockKind { kShared, kExclusive };
Result<Descriptor> lockDevice(std::uint64_t device, LockKind kind, const std::string& folder);

}  // namespace lumisk
