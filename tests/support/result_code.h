#pragma once

#include "platform/result.h"

namespace lumisk::test {

// Of what was answered: 0 for a success.
template <class T>
int codeOf(const Result<T>& result) {
  return result ? 0 : result.error().code;
}

}  // namespace lumisk::test
