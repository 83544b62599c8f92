#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// What a file system can hold, by the name that the kernel has for its type: what is well known of it, for warnings. A
// run asks the file system itself. Pure.
struct TargetTraits {
  std::size_t longestName = 255;
  enum class NameUnit { kBytes, kUtf16 } nameUnit = NameUnit::kBytes;
  std::optional<std::uint64_t> largestFile;
  bool foldsNames = false;       // letter case or normalisation
  bool hasWindowsNames = false;  // none of \ : * ? " < > | in names, nor a dot or blank at their end
  bool keepsPermissions = true;  // owners and extended attributes with them
  bool keepsLinks = true;        // symbolic ones
};
// vfat and exfat: the kernel's Documentation/filesystems/vfat.rst and Microsoft's exFAT specification (names of 255
// UTF-16 units, files of 4 GiB - 1 on FAT32). hfsplus and cifs: names that differ in letter case are one.
[[nodiscard]] TargetTraits targetTraits(std::string_view fileSystem);

// Why an entry cannot be kept there, or not as it is.
enum class Misfit { kNone, kNameTooLong, kNameNotAllowed, kSameName, kFileTooLarge, kNoLinks };
[[nodiscard]] Misfit misfitOf(const TargetTraits& traits, const std::string& name, FileType type, std::uint64_t size);
[[nodiscard]] std::string misfitText(Misfit misfit);  // "the name is too long"

// What is lost of every file there; empty where nothing is.
[[nodiscard]] std::string lossText(const TargetTraits& traits);

}  // namespace lumisk
