#include "platform/program_start.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>

namespace lumisk::programStart {

void openMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // The lowest number that is free is this one.
    if (::fcntl(stream, F_GETFD) == -1) [[maybe_unused]]
      const int opened = ::open("/dev/null", O_RDWR);
  }
}

void allowManyDescriptors() {
  constexpr rlim_t kEnough = 65536;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kEnough) return;
  limit.rlim_cur = std::min(limit.rlim_max, kEnough);
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

void keepMemorySmall() {
  constexpr int kArenas = 2;
  ::mallopt(M_ARENA_MAX, kArenas);
}

}  // namespace lumisk::programStart
