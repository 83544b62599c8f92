#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// What does not hold ends the process, by which a fuzzer knows it.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}
