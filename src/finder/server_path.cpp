#include "finder/server_path.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "platform/home_folder.h"
#include "platform/local_socket.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

// FNV-1a, 64 bits: it tells a user's few home folders apart; who may connect is settled elsewhere.
std::uint64_t digest(std::string_view text) {
  std::uint64_t value = 0xCBF29CE484222325U;
  for (const char byte : text) value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
  return value;
}

// The same by whatever link it is reached.
std::string realHomeFolder() {
  std::error_code failed;
  const auto real = std::filesystem::canonical(homeFolder(), failed);
  return failed ? homeFolder() : real.string();
}

}  // namespace

Result<std::string> serverSocketPath(const std::string& connectionName) {
  if (connectionName.empty() || connectionName.find('/') != std::string::npos)
    return fail("name the socket", connectionName, EINVAL);
  LUMISK_TRY(const std::string folder, runtimeFolder());
  return paths::join(folder, fmt::format("{}-{:016x}", connectionName, digest(realHomeFolder())));
}

}  // namespace lumisk
