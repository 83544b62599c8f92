#pragma once

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

struct Pipe {
  Descriptor reading;
  Descriptor writing;
};

// pipe(7), close-on-exec. The reading end comes to its end when nobody has the writing one any more, so that holding it
// tells others that one lives.
Result<Pipe> makePipe();

}  // namespace lumisk
