#pragma once

#include <string>
#include <utility>

#include "platform/result.h"

namespace lumisk {

// Gives an error that knows only a name, or none, the full path that it is about.
template <class T>
Result<T> about(const std::string& path, Result<T> result) {
  if (!result && !result.error().path.starts_with('/')) result.error().path = path;
  return result;
}

// The target is full, or the user may not fill it further.
[[nodiscard]] bool isOutOfSpace(const Error& error);

}  // namespace lumisk
