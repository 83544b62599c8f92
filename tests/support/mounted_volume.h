#pragma once

#include <string>

#include "support/temp_tree.h"

namespace lumisk::test {

// A real volume of its own for one test, unmounted and removed with the object. Needs root:
//   const MountedVolume volume("ext4", 32);
//   if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
class MountedVolume {
 public:
  // "tmpfs", or a type that mkfs makes ("ext4", "btrfs", "xfs") in a file on a loop device. Options as for mount(8).
  MountedVolume(const std::string& type, int megabytes, const std::string& options = {});
  ~MountedVolume();
  MountedVolume(const MountedVolume&) = delete;
  MountedVolume& operator=(const MountedVolume&) = delete;

  [[nodiscard]] bool isMounted() const { return problem_.empty(); }
  [[nodiscard]] const std::string& problem() const { return problem_; }
  [[nodiscard]] std::string path() const { return folder_ / "mount"; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return path() + "/" + name; }
  void pullAway();  // what is open on it stays usable, its path becomes an empty folder

 private:
  TempTree folder_;
  std::string problem_;
};

// Runs a command in a shell, without its output; whether it ended with status 0. For fixtures only.
bool runQuietly(const std::string& command);

}  // namespace lumisk::test
