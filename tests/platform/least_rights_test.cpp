#include "platform/least_rights.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace lumisk::test {
namespace {

bool holdsLine(const std::string& line) {
  std::ifstream status("/proc/self/status");
  for (std::string one; std::getline(status, one);)
    if (one == line) return true;
  return false;
}

// In a process of its own: nothing of it can be taken back. The number of the first thing that is wrong.
int whatIsWrong() {
  if (!leastRights::keep()) return 1;
  rlimit core{};
  ::getrlimit(RLIMIT_CORE, &core);
  if (std::getenv("LUMISK_LEFT_BEHIND") || std::getenv("LD_PRELOAD") || !std::getenv("LISTEN_FDS")) return 2;
  if (::umask(0) != 0077 || ::prctl(PR_GET_DUMPABLE) != 0 || core.rlim_max != 0) return 3;
  if (!holdsLine("NoNewPrivs:\t1")) return 4;
  if (::geteuid() != 0) return 0;
  if (!holdsLine("CapEff:\t00000000882002df") || !holdsLine("CapBnd:\t00000000882002df")) return 5;
  const int higher = ::getpriority(PRIO_PROCESS, 0) - 1;
  return ::setpriority(PRIO_PROCESS, 0, higher) == 0 ? 6 : 0;  // CAP_SYS_NICE is not among them
}

TEST(LeastRightsTest, Keep_LeavesWhatAWholeVolumeNeedsAndNothingElse) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::setenv("LUMISK_LEFT_BEHIND", "1", 1);
    ::setenv("LISTEN_FDS", "1", 1);
    ::_exit(whatIsWrong());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace lumisk::test
