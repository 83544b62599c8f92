#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "helper/command_table.h"

namespace lumisk {

// Where the root helper stands on a machine, and what stands beside it. Pure. Programs and files of other versions know
// these places: do not change.
[[nodiscard]] std::string helperToolPath(std::string_view bundleIdentifier);
[[nodiscard]] std::string helperSocketPath(std::string_view bundleIdentifier);

struct InstalledFile {
  std::string path;
  std::string bytes;
  std::uint32_t mode = 0644;
};

// The description of the daemon (an XML property list), its units for systemd (systemd.socket(5), systemd.service(5)),
// and the rights as actions of polkit(8). An administrator authenticates for each: for a right whose rule is "allow"
// the session remembers it for some minutes, so that the command itself asks for nothing more.
[[nodiscard]] std::vector<InstalledFile> helperDescriptions(std::string_view bundleIdentifier,
                                                            const std::vector<CommandSpec>& commands);

// The link that has the socket opened at every start, and what it leads to.
struct InstalledLink {
  std::string path;
  std::string text;
};
[[nodiscard]] InstalledLink helperEnablement(std::string_view bundleIdentifier);
[[nodiscard]] std::string helperSocketUnit(std::string_view bundleIdentifier);

// Letters, digits, "-" and "." that stand for themselves in file names and units.
[[nodiscard]] bool isBundleIdentifier(std::string_view text);

}  // namespace lumisk
