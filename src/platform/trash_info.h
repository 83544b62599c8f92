#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace lumisk {

// The texts and names of the freedesktop.org Trash layout, version 1.0. Pure functions.
namespace trash_info {

inline constexpr const char* kExtension = ".trashinfo";

// What an item's info file says: where it was (any bytes; absolute, or relative to the volume's top folder) and when it
// went, in local time.
[[nodiscard]] std::string text(const std::string& path, WallTime deleted);

struct Record {
  std::string path;  // as text() got it
  std::optional<WallTime> deleted;
};
// Nothing when it names no path. Takes what other programs write, too.
[[nodiscard]] std::optional<Record> parse(std::string_view text);

// The item's name in the trash, at most `limit` bytes: "report.x4k2q9ab.txt". What is too long is cut off before the
// suffix, never inside a character.
[[nodiscard]] std::string nameWithSuffix(const std::string& name, const std::string& suffix, std::size_t limit);

}  // namespace trash_info
}  // namespace lumisk
