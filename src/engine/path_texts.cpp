#include "engine/path_texts.h"

#include <fmt/format.h>

#include <array>
#include <chrono>

#include "platform/calendar_date.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

struct Unit {
  int shift;
  const char* name;
};
constexpr std::array<Unit, 4> kUnits{{{40, "TB"}, {30, "GB"}, {20, "MB"}, {10, "KB"}}};

std::string dateText(FileTime time) {
  if (time == FileTime{}) return "unknown";  // file systems need not keep creation dates
  return storedDate(WallTime(std::chrono::seconds(time.seconds)));
}

std::optional<std::string> moved(const std::string& path, const std::string& from, const std::string& to) {
  if (!paths::isInside(path, from)) return std::nullopt;
  const auto components = paths::components(path);
  std::string result = to;
  for (std::size_t i = paths::components(from).size(); i < components.size(); ++i)
    result = paths::join(result, components[i]);
  return result;
}

}  // namespace

std::string sizeWithGMKFormat(std::uint64_t bytes) {
  for (const Unit& unit : kUnits) {
    const auto size = std::uint64_t{1} << unit.shift;
    if (bytes >= size) return fmt::format("{:.2f} {}", static_cast<float>(bytes) / static_cast<float>(size), unit.name);
  }
  return fmt::format("{} B", bytes);
}

std::string getStringWithFileName(const std::string& fileName, const FileStatus& attributes) {
  return fmt::format("{}\n{}:{}\n{}:{}\n{}:{}", fileName, "Size", sizeWithGMKFormat(attributes.size), "Creation Date",
                     dateText(attributes.created), "Modification Date", dateText(attributes.modified));
}

std::optional<std::string> getSourcePathFromPath(const std::string& path, const std::string& target,
                                                 const std::string& source) {
  return moved(path, target, source);
}

std::optional<std::string> getTargetPathFromPath(const std::string& path, const std::string& source,
                                                 const std::string& target) {
  return moved(path, source, target);
}

}  // namespace lumisk
