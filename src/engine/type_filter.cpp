#include "engine/type_filter.h"

#include "platform/paths.h"

namespace lumisk {
namespace {

// Numbered files ("backup.0", "log.01") count as having no extension.
std::string filterKey(const std::string& path) {
  std::string extension = paths::extension(paths::lastComponent(path));
  if (extension.empty() || extension.front() == '0') return ".";
  for (char& letter : extension)
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  return extension;
}

bool contains(const std::vector<std::string>& list, const std::string& key) {
  return std::find(list.begin(), list.end(), key) != list.end();
}

}  // namespace

bool fileTypeFilter(const std::string& path, const std::vector<std::string>& inclusion,
                    const std::vector<std::string>& exclusion) {
  if (!exclusion.empty()) return !contains(exclusion, filterKey(path));
  return inclusion.empty() || contains(inclusion, filterKey(path));
}

}  // namespace lumisk
