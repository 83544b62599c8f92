#include "jobs/path_comparison.h"

#include "platform/paths.h"

namespace lumisk {

bool compareStringPath(const std::string& path1, const std::string& path2, bool subDirectory) {
  if (path1.empty() || path2.empty()) return path1 == path2;
  const bool inside = paths::isInside(path1, path2);
  const bool around = paths::isInside(path2, path1);
  return subDirectory ? inside || around : inside && around;
}

bool compareStringPathExt(const std::string& path1, const std::string& path2, bool subDirectory) {
  return compareStringPath(path1, path2, subDirectory);
}

}  // namespace lumisk
