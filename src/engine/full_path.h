#pragma once

#include <string>

namespace lumisk {

// How paths are spelled below a target for jobs that retain full paths: "/<computer>/Volumes/<volume>/...". The two
// names are taken when the job is made, so that a renamed computer does not start a second copy. Pure.
struct PlaceNames {
  std::string computerName;
  std::string rootDisplayName;
};
[[nodiscard]] std::string getFullPathRetainSourcePath(const std::string& path, const PlaceNames& names);
// Whether `subFolderPath` ends with the components of `path`, the root excepted.
[[nodiscard]] bool compareTwoPath(const std::string& path, const std::string& subFolderPath);

}  // namespace lumisk
