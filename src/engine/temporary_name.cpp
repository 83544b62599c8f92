#include "engine/temporary_name.h"

#include <random>

namespace lumisk {

std::string makeTemporaryName() {
  thread_local std::mt19937_64 random{std::random_device{}() * std::uint64_t{0x100000001} ^ std::random_device{}()};
  return fmt::format(".lumisk-{:012x}", random() & 0xffffffffffff);
}

}  // namespace lumisk
