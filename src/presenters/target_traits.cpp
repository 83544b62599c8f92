#include "presenters/target_traits.h"

#include <algorithm>

#include "platform/byte_text.h"
#include "platform/translation.h"

namespace lumisk {
namespace {

constexpr std::uint64_t kLargestOnFat = (1ULL << 32) - 1;

TargetTraits windowsNames() {
  TargetTraits traits;
  traits.nameUnit = TargetTraits::NameUnit::kUtf16;
  traits.foldsNames = traits.hasWindowsNames = true;
  return traits;
}

TargetTraits fatTraits(std::optional<std::uint64_t> largestFile) {
  TargetTraits traits = windowsNames();
  traits.largestFile = largestFile;
  traits.keepsPermissions = traits.keepsLinks = false;
  return traits;
}

// Of UTF-8: what begins a character counts once, characters beyond the first plane twice.
std::size_t utf16Units(const std::string& name) {
  std::size_t units = 0;
  for (const char byte : name) {
    const auto value = static_cast<unsigned char>(byte);
    if ((value & 0xC0U) != 0x80U) units += value >= 0xF0U ? 2 : 1;
  }
  return units;
}

bool isTooLong(const TargetTraits& traits, const std::string& name) {
  const bool isBytes = traits.nameUnit == TargetTraits::NameUnit::kBytes;
  return (isBytes ? name.size() : utf16Units(name)) > traits.longestName;
}

bool isWindowsName(const std::string& name) {
  const bool hasForbidden = std::any_of(name.begin(), name.end(), [](unsigned char letter) {
    return letter < 0x20 || std::string_view("\\:*?\"<>|").find(static_cast<char>(letter)) != std::string_view::npos;
  });
  return !hasForbidden && name.back() != '.' && name.back() != ' ' && isValidUtf8(name);
}

}  // namespace

TargetTraits targetTraits(std::string_view fileSystem) {
  const auto is = [&](auto... names) { return ((fileSystem == names) || ...); };
  if (is("vfat", "msdos", "fat")) return fatTraits(kLargestOnFat);
  if (is("exfat", "fuse.exfat")) return fatTraits(std::nullopt);
  TargetTraits traits;
  if (is("cifs", "smb3", "smbfs")) return windowsNames();
  if (is("hfs", "hfsplus", "apfs", "fuse.apfs")) {
    traits.nameUnit = TargetTraits::NameUnit::kUtf16;
    traits.foldsNames = true;
  }
  if (is("ntfs", "ntfs3", "fuseblk", "fuse.ntfs-3g")) traits.nameUnit = TargetTraits::NameUnit::kUtf16;
  // Encrypted names are longer than what they stand for (ecryptfs: 143 bytes).
  if (is("ecryptfs")) traits.longestName = 143;
  return traits;
}

Misfit misfitOf(const TargetTraits& traits, const std::string& name, FileType type, std::uint64_t size) {
  if (name.empty()) return Misfit::kNone;
  if (isTooLong(traits, name)) return Misfit::kNameTooLong;
  if (traits.hasWindowsNames && !isWindowsName(name)) return Misfit::kNameNotAllowed;
  if (type == FileType::kLink && !traits.keepsLinks) return Misfit::kNoLinks;
  if (type == FileType::kRegular && traits.largestFile && size > *traits.largestFile) return Misfit::kFileTooLarge;
  return Misfit::kNone;
}

std::string misfitText(Misfit misfit) {
  switch (misfit) {
    case Misfit::kNameTooLong:
      return translated("the name is too long");
    case Misfit::kNameNotAllowed:
      return translated("the name holds characters that are not allowed there");
    case Misfit::kSameName:
      return translated("another entry's name is the same there");
    case Misfit::kFileTooLarge:
      return translated("files of 4 GB and more do not fit");
    case Misfit::kNoLinks:
      return translated("links cannot be kept there");
    case Misfit::kNone:
      break;
  }
  return {};
}

std::string lossText(const TargetTraits& traits) {
  if (traits.keepsPermissions) return {};
  return translated(
      "This volume keeps no permissions, owners or extended attributes. For them, use one formatted as "
      "ext4, or an encrypted image.");
}

}  // namespace lumisk
