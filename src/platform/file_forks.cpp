#include "platform/file_forks.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace lumisk::file_forks {
namespace {

constexpr std::size_t kFinderInfoSize = 32;

// Where the wanted bytes lie inside an attribute's value.
struct Part {
  std::size_t offset = 0;
  std::size_t size = 0;
};

std::optional<Part> wholeValue(std::string_view value) {
  return Part{0, value.size()};
}

std::optional<Part> allButEndMark(std::string_view value) {
  if (value.empty()) return std::nullopt;
  return Part{0, value.size() - 1};
}

std::optional<Part> wholeFinderInfo(std::string_view value) {
  if (value.size() != kFinderInfoSize) return std::nullopt;
  return Part{0, kFinderInfoSize};
}

// Big-endian; 0 beyond the end.
std::uint32_t numberAt(std::string_view bytes, std::size_t offset, std::size_t size) {
  if (offset + size > bytes.size()) return 0;
  std::uint32_t number = 0;
  for (const char byte : bytes.substr(offset, size)) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

std::optional<Part> finderInfoInAfpInfo(std::string_view value) {
  constexpr std::uint32_t kSignature = 0x41465000;  // "AFP\0"
  if (value.size() < 60 || numberAt(value, 0, 4) != kSignature) return std::nullopt;
  return Part{16, kFinderInfoSize};
}

// Signature, version, 16 bytes of filler, number of entries; each entry: kind, offset, size.
std::optional<Part> finderInfoInAppleDouble(std::string_view value) {
  constexpr std::uint32_t kSignature = 0x00051607;
  constexpr std::uint32_t kFinderInfoKind = 9;
  if (numberAt(value, 0, 4) != kSignature) return std::nullopt;
  const std::uint32_t entries = numberAt(value, 24, 2);
  for (std::size_t at = 26, i = 0; i < entries && at + 12 <= value.size(); ++i, at += 12) {
    const Part part{numberAt(value, at + 4, 4), numberAt(value, at + 8, 4)};
    if (numberAt(value, at, 4) != kFinderInfoKind) continue;
    if (part.size < kFinderInfoSize || part.offset + kFinderInfoSize > value.size()) return std::nullopt;
    return Part{part.offset, kFinderInfoSize};
  }
  return std::nullopt;
}

struct Carrier {
  const char* name;
  std::optional<Part> (*find)(std::string_view value);
};

constexpr std::array kResourceForks{Carrier{"user.com.apple.ResourceFork", wholeValue},
                                    Carrier{"user.org.netatalk.ResourceFork", wholeValue},
                                    Carrier{"user.DosStream.AFP_Resource:$DATA", allButEndMark}};
constexpr std::array kFinderInfos{Carrier{"user.com.apple.FinderInfo", wholeFinderInfo},
                                  Carrier{"osx.com.apple.FinderInfo", wholeFinderInfo},
                                  Carrier{"user.org.netatalk.Metadata", finderInfoInAppleDouble},
                                  Carrier{"user.DosStream.AFP_AfpInfo:$DATA", finderInfoInAfpInfo}};

struct Found {
  const char* name = nullptr;  // of the attribute; null when there is none
  std::string value;
  Part part;
};

Result<Found> findFirst(FileCalls& files, int descriptor, std::span<const Carrier> carriers) {
  for (const Carrier& carrier : carriers) {
    auto value = files.attribute(descriptor, carrier.name);
    if (value) {
      if (const auto part = carrier.find(*value)) return Found{carrier.name, std::move(*value), *part};
    } else if (value.error().code != ENODATA && value.error().code != EOPNOTSUPP) {
      return fail(std::move(value).error());
    }
  }
  return Found{};
}

Result<std::string> readFirst(FileCalls& files, int descriptor, std::span<const Carrier> carriers) {
  LUMISK_TRY(const Found found, findFirst(files, descriptor, carriers));
  return found.value.substr(found.part.offset, found.part.size);
}

Result<void> writeFirst(FileCalls& files, int descriptor, std::span<const Carrier> carriers, const std::string& bytes) {
  LUMISK_TRY(Found found, findFirst(files, descriptor, carriers));
  if (found.name == nullptr) return files.setAttribute(descriptor, carriers.front().name, bytes);
  found.value.replace(found.part.offset, found.part.size, bytes);
  return files.setAttribute(descriptor, found.name, found.value);
}

}  // namespace

Result<std::string> resourceFork(FileCalls& files, int descriptor) {
  return readFirst(files, descriptor, kResourceForks);
}

Result<void> setResourceFork(FileCalls& files, int descriptor, const std::string& bytes) {
  if (!bytes.empty()) return writeFirst(files, descriptor, kResourceForks, bytes);
  for (const Carrier& carrier : kResourceForks) {
    auto removed = files.removeAttribute(descriptor, carrier.name);
    if (!removed && removed.error().code != ENODATA && removed.error().code != EOPNOTSUPP) return removed;
  }
  return {};
}

Result<std::string> finderInfo(FileCalls& files, int descriptor) {
  return readFirst(files, descriptor, kFinderInfos);
}

Result<void> setFinderInfo(FileCalls& files, int descriptor, const std::string& bytes) {
  if (bytes.size() != kFinderInfoSize) return fail("set the Finder information", "", EINVAL);
  return writeFirst(files, descriptor, kFinderInfos, bytes);
}

bool isForkAttribute(const std::string& attribute) {
  const auto isNamed = [&](const Carrier& carrier) { return attribute == carrier.name; };
  return std::any_of(kResourceForks.begin(), kResourceForks.end(), isNamed) ||
         std::any_of(kFinderInfos.begin(), kFinderInfos.end(), isNamed);
}

}  // namespace lumisk::file_forks
