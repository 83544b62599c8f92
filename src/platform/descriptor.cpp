#include "platform/descriptor.h"

#include <unistd.h>

namespace lumisk {

void Descriptor::reset() {
  if (number_ >= 0) ::close(std::exchange(number_, -1));
}

}  // namespace lumisk
