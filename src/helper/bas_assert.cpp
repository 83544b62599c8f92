#include "helper/bas_assert.h"

#include <cstdio>
#include <cstdlib>

namespace lumisk {

void failAssertion(const char* file, unsigned line, const char* text) {
  std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", file, line, text);
  std::abort();
}

}  // namespace lumisk
