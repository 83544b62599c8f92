#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

struct MountEntry {
  std::string mountPoint;
  std::string fileSystem;    // type: "ext4", "nfs4"
  std::string source;        // device or server path
  std::uint64_t id = 0;      // of the mount
  std::uint64_t device = 0;  // as in FileIdentity
  bool isReadOnly = false;
  std::string root =
      "/";  // the folder of the file system that is seen here: another one for bind mounts and subvolumes
  std::string mountOptions = {};       // "rw,nosuid,relatime": of this mount
  std::string fileSystemOptions = {};  // "rw,errors=continue": of the file system, wherever it is mounted
};

// All mounts of this process's namespace, in mount order (a later one hides an earlier one of the same place).
// From /proc/self/mountinfo through libmount.
Result<std::vector<MountEntry>> mountTable();

// Tells at the price of one call whether anything was mounted, moved or unmounted in this process's namespace since the
// object was made or asked last. A mount's number and a device's may go to the next one at once, so that these prove
// nothing by themselves; that the table has not changed does. Says yes where the system cannot tell. For one thread.
class MountChanges {
 public:
  MountChanges();
  [[nodiscard]] bool haveHappened();

 private:
  Descriptor table_;
};

// Whether a file system of this type holds no user's files (proc, sysfs, devtmpfs, cgroup2, ...): never walked. A tmpfs
// or an overlay may hold some.
[[nodiscard]] bool isPseudoFileSystem(const std::string& fileSystem);
[[nodiscard]] bool isNetworkFileSystem(const std::string& fileSystem);

}  // namespace lumisk
