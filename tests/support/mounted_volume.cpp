#include "support/mounted_volume.h"

#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>

namespace lumisk::test {

bool runQuietly(const std::string& command) {
  return std::system(("PATH=$PATH:/usr/sbin:/sbin; { " + command + "; } >/dev/null 2>&1").c_str()) == 0;
}

MountedVolume::MountedVolume(const std::string& type, int megabytes, const std::string& options)
    : folder_{{"mount", Dir{}}} {
  if (::geteuid() != 0) {
    problem_ = "mounting needs root";
    return;
  }
  const std::string size = std::to_string(megabytes) + "M";
  const std::string more = options.empty() ? "" : "," + options;
  const std::string image = folder_ / "image";
  const std::string make = "truncate -s " + size + " '" + image + "' && mkfs." + type + " -q '" + image + "'";
  const std::string mount = type == "tmpfs" ? "mount -t tmpfs -o size=" + size + more + " none '" + path() + "'"
                                            : make + " && mount -o loop" + more + " '" + image + "' '" + path() + "'";
  if (!runQuietly(mount)) problem_ = "no " + type + " volume can be mounted here";
}

MountedVolume::~MountedVolume() {
  pullAway();
}

void MountedVolume::pullAway() {
  if (isMounted()) ::umount2(path().c_str(), MNT_DETACH);
}

}  // namespace lumisk::test
