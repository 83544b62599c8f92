#pragma once

namespace lumisk {

// Says where the program is wrong, on standard error, and aborts.
[[noreturn]] void failAssertion(const char* file, unsigned line, const char* text);

}  // namespace lumisk

// For mistakes of the program, not of its users or of the other end of a connection.
#define BAS_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : ::lumisk::failAssertion(__FILE__, __LINE__, #condition))
