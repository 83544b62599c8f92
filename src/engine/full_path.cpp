#include "engine/full_path.h"

#include "platform/paths.h"

namespace lumisk {

std::string getFullPathRetainSourcePath(const std::string& path, const PlaceNames& names) {
  const auto components = paths::components(path);
  const bool isOnVolume = !components.empty() && components.front() == "Volumes";
  const std::string onVolume = isOnVolume ? path : "/Volumes/" + names.rootDisplayName + path;
  return "/" + names.computerName + onVolume;
}

bool compareTwoPath(const std::string& path, const std::string& subFolderPath) {
  const auto wanted = paths::components(path);
  const auto found = paths::components(subFolderPath);
  return wanted.size() <= found.size() && std::equal(wanted.rbegin(), wanted.rend(), found.rbegin());
}

}  // namespace lumisk
