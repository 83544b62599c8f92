#include "devices/data_list_object.h"

#include <fmt/format.h>

#include "platform/volume.h"

namespace lumisk {

std::string fileSystemTypeText(std::string_view fileSystem, Journal journal) {
  const auto is = [&](auto... names) { return ((fileSystem == names) || ...); };
  if (is("hfs", "hfsplus")) return journal == Journal::kKept ? "Mac OS Extended (Journaled)" : "Mac OS Extended";
  if (is("ntfs", "ntfs3", "fuse.ntfs", "fuse.ntfs-3g")) return "NTFS";
  if (is("msdos", "vfat")) return "MS DOS FAT";
  if (is("nfs", "nfs4")) return "NFS";
  return "unknown";
}

std::optional<std::string> dataListObject::getFileSystemTypeWithPath(const std::string& path) {
  const auto mount = volume::mountHolding(path);
  if (!mount) return std::nullopt;
  return fmt::format("{}: {}", "Format", fileSystemTypeText(volume::fileSystemOf(*mount)));
}

std::string dataListObject::sizeWithGMKFormat(std::uint64_t bytes) {
  const auto inUnits = [&](int shift) { return static_cast<double>(bytes) / static_cast<double>(1ULL << shift); };
  if (bytes < 1ULL << 10) return fmt::format("{} bytes", bytes);
  if (bytes < 1ULL << 20) return fmt::format("{:.1f} KB", inUnits(10));
  if (bytes < 1ULL << 30) return fmt::format("{:.2f} MB", inUnits(20));
  return fmt::format("{:.2f} GB", inUnits(30));
}

}  // namespace lumisk
