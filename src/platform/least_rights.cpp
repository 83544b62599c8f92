#include "platform/least_rights.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumisk::leastRights {
namespace {

constexpr int kKept[] = {
    CAP_SYS_ADMIN,                          // mount, make loop devices, "trusted." attributes
    CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH,  // everybody's files
    CAP_CHOWN,        CAP_FOWNER,          CAP_FSETID, CAP_SETFCAP,
    CAP_MKNOD,        CAP_LINUX_IMMUTABLE, CAP_SETUID, CAP_SETGID,  // act as the one who asked
};

unsigned long long bit(int capability) {
  return 1ULL << static_cast<unsigned>(capability);
}

unsigned long long keptCapabilities() {
  unsigned long long bits = 0;
  for (const int capability : kKept) bits |= bit(capability);
  return bits;
}

void clearEnvironment() {
  std::vector<std::pair<std::string, std::string>> kept = {{"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}, {"LC_ALL", "C"}};
  for (const char* name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"})
    if (const char* value = std::getenv(name)) kept.emplace_back(name, value);
  ::clearenv();
  for (const auto& [name, value] : kept) ::setenv(name.c_str(), value.c_str(), 1);
}

Result<void> limit(__rlimit_resource what, rlim_t most, const char* name) {
  rlimit present{};
  ::getrlimit(what, &present);
  const rlim_t value = std::min(most, present.rlim_max);
  const rlimit wanted{value, value};
  if (::setrlimit(what, &wanted) != 0) return fail("limit", name, errno);
  return {};
}

// The bounding set is what keeps the others from the programs that are started; then from this one.
Result<void> dropCapabilities() {
  for (int capability = 0; ::prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability) {
    if ((keptCapabilities() & bit(capability)) != 0) continue;
    if (::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) return fail("give up a right", "", errno);
  }
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[2] = {};
  if (::syscall(SYS_capget, &header, sets) != 0) return fail("ask for the rights", "", errno);
  for (int half = 0; half < 2; ++half) {
    const auto kept = static_cast<std::uint32_t>(keptCapabilities() >> (32 * half));
    sets[half] = {sets[half].effective & kept, sets[half].permitted & kept, 0};
  }
  if (::syscall(SYS_capset, &header, sets) != 0) return fail("give up rights", "", errno);
  return {};
}

}  // namespace

Result<void> keep() {
  constexpr rlim_t kDescriptors = 16384;
  clearEnvironment();
  if (::chdir("/") != 0) return fail("go to", "/", errno);
  ::umask(0077);
  LUMISK_CHECK(limit(RLIMIT_CORE, 0, "core files"));
  LUMISK_CHECK(limit(RLIMIT_NOFILE, kDescriptors, "open files"));
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return fail("give up new rights", "", errno);
  if (::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) return fail("refuse tracing", "", errno);
  return ::geteuid() == 0 ? dropCapabilities() : Result<void>();
}

}  // namespace lumisk::leastRights
