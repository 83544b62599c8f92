#include "platform/pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace lumisk {

Result<Pipe> makePipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return fail("make a pipe", "", errno);
  return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

}  // namespace lumisk
