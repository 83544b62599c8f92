#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumisk {

// The list of destinations: what stands beside each. Stateless, any thread.
class dataListObject {
 public:
  // "Format: NTFS", of the file system that holds the path; nothing when that cannot be told.
  [[nodiscard]] static std::optional<std::string> getFileSystemTypeWithPath(const std::string& path);
  // "512 bytes", "2.5 KB", "1.00 GB": powers of 1024.
  [[nodiscard]] static std::string sizeWithGMKFormat(std::uint64_t bytes);
};

enum class Journal : std::uint8_t { kNone, kKept };

// How users know a file system, by the name that the kernel has for it; "unknown" for all but a few. The kernel does
// not tell whether a mounted HFS+ volume keeps a journal.
[[nodiscard]] std::string fileSystemTypeText(std::string_view fileSystem, Journal journal = Journal::kNone);

}  // namespace lumisk
