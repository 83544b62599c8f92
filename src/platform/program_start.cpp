#include "platform/program_start.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace lumisk::programStart {

void openMissingStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // The lowest number that is free is this one.
    if (::fcntl(stream, F_GETFD) == -1) [[maybe_unused]]
      const int opened = ::open("/dev/null", O_RDWR);
  }
}

void keepMemorySmall() {
  constexpr int kArenas = 2;
  ::mallopt(M_ARENA_MAX, kArenas);
}

}  // namespace lumisk::programStart
