#include "engine/error_place.h"

#include <cerrno>

namespace lumisk {

bool isOutOfSpace(const Error& error) {
  return error.code == ENOSPC || error.code == EDQUOT;
}

}  // namespace lumisk
