#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/descriptor.h"
#include "platform/result.h"

namespace lumisk {

// For a process that works for somebody whom it does not trust: files in his folders, which he changes at any moment.
// Paths are absolute and plain: EINVAL for anything with "." or "..", doubled or trailing slashes or a NUL in it.

[[nodiscard]] bool isPlainPath(const std::string& path);

enum class Way {
  kAny,
  kOnlyRoots,  // EPERM unless every folder above is root's and nobody else can give an entry in it another name
};

// A folder, one component after the other, without following a link anywhere (ENOTDIR). The descriptor serves as a
// place for further calls only (O_PATH, open(2)).
Result<Descriptor> openFolderWithoutLinks(const std::string& path, Way way = Way::kAny);

struct PrivateFileRules {
  std::uint32_t owner = 0;
  std::size_t largest = 0;  // bytes
};

// All bytes of a regular file that belongs to the owner and that nobody else may write, read once. Never waits for a
// fifo, a lease or a device. ELOOP for a link, EISDIR, ENOTSUP for what is no file, EPERM for what is another's or open
// to others, EFBIG.
Result<std::string> readPrivateFile(int folder, const std::string& name, const PrivateFileRules& rules);

// Whether the folder is the owner's and not open to everybody; EPERM otherwise.
Result<void> checkFolderOwner(int folder, std::uint32_t owner);

enum class Sync { kNo, kYes };

// Replaces an entry, whatever it is, but never what a link leads to: a temporary sibling, renamed. Mode 0600.
Result<void> replaceEntry(int folder, const std::string& name, std::string_view bytes, Sync sync);
// A missing one is no error.
Result<void> removeEntry(int folder, const std::string& name);

}  // namespace lumisk
