#pragma once

#include "platform/result.h"

namespace lumisk {

// Some file systems (vfat, iso9660) show empty folders, without an error, when their disk has gone. So an absence
// proves nothing before the disk has been asked after it. All read a few bytes; any thread.

// An error when the disk of the open folder's file system has gone or cannot be read. Success where there is no one
// disk to ask (servers, memory), where nobody lets us ask, and, unasked, for file systems that are known to give
// errors.
Result<void> checkDiskOf(int folder);
Result<void> askDiskOf(int folder);  // whatever the file system

// The same for who may not read the device: reads a file in the folder or in those above it from the disk itself, not
// from memory. ENODATA when there is none that can be read.
Result<void> checkByReadingAFile(int folder);

}  // namespace lumisk
