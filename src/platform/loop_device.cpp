#include "platform/loop_device.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace lumisk {
namespace {

constexpr const char* kShow = "show as blocks";
constexpr unsigned kPatienceSeconds = 30;

struct User {
  uid_t user;
  gid_t group;
};

// In a process of its own, which ends itself when it has to wait for too long: nobody without CAP_KILL could end it
// once it is the user's. System calls only. An errno value.
int attachAs(const User& who, const char* path, int loop) {
  ::alarm(kPatienceSeconds);
  if (::setgroups(0, nullptr) != 0 || ::setresgid(who.group, who.group, who.group) != 0 ||
      ::setresuid(who.user, who.user, who.user) != 0)
    return errno;
  const int file = ::open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  struct stat status {};
  if (file < 0 || ::fstat(file, &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  loop_config config{};
  config.fd = static_cast<__u32>(file);
  config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
  return ::ioctl(loop, LOOP_CONFIGURE, &config) == 0 ? 0 : errno;
}

int statusOf(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : ETIMEDOUT;
}

int attachInChild(const User& who, const std::string& path, int loop) {
  const pid_t child = ::fork();
  if (child < 0) return errno;
  if (child == 0) ::_exit(attachAs(who, path.c_str(), loop));
  return statusOf(child);
}

Result<LoopDevice> freeDevice(int control) {
  const int number = ::ioctl(control, LOOP_CTL_GET_FREE);
  if (number < 0) return fail("find a free device", "/dev/loop-control", errno);
  LoopDevice loop;
  loop.node = "/dev/loop" + std::to_string(number);
  loop.device = Descriptor(::open(loop.node.c_str(), O_RDWR | O_CLOEXEC));
  if (!loop.device.isOpen()) return fail("open", loop.node, errno);
  return loop;
}

}  // namespace

Result<LoopDevice> showAsBlocks(const std::string& path, std::uint32_t user, std::uint32_t group) {
  constexpr int kTries = 20;  // another program may take the free device first
  const Descriptor control(::open("/dev/loop-control", O_RDWR | O_CLOEXEC));
  if (!control.isOpen()) return fail("open", "/dev/loop-control", errno);
  int code = EBUSY;
  for (int i = 0; i < kTries && code == EBUSY; ++i) {
    LUMISK_TRY(LoopDevice loop, freeDevice(control.get()));
    code = attachInChild({user, group}, path, loop.device.get());
    if (code == 0) return loop;
  }
  return fail(kShow, path, code);
}

Result<void> mountUsersVolume(const std::string& node, const std::string& place) {
  if (::mount(node.c_str(), place.c_str(), "ext4", MS_NOSUID | MS_NODEV, "errors=remount-ro") != 0)
    return fail("mount at", place, errno);
  return {};
}

Result<void> unmountUsersVolume(const std::string& place, Detach detach) {
  const int more = detach == Detach::kAtOnce ? MNT_DETACH : 0;
  if (::umount2(place.c_str(), UMOUNT_NOFOLLOW | more) != 0) return fail("unmount", place, errno);
  return {};
}

}  // namespace lumisk
