#include "engine/revision_numbering.h"

#include "engine/tagged_name.h"
#include "platform/paths.h"

namespace lumisk {

std::vector<std::string> revisionFolders(const std::string& path, const std::string& firstTarget,
                                         const PlaceNames& names) {
  const bool isInTarget = paths::isInside(path, firstTarget);
  auto components = paths::components(isInTarget ? path : getFullPathRetainSourcePath(path, names));
  const std::size_t skipped = isInTarget ? paths::components(firstTarget).size() : 0;
  std::vector<std::string> folders{kRevisionFolderName};
  for (std::size_t i = skipped; i + 1 < components.size(); ++i) folders.push_back(std::move(components[i]));
  return folders;
}

int firstFreeNumber(const ListedNames& listed, const std::string& fileName) {
  int number = 1;
  while (listed.count(revisionName(fileName, number)) != 0) ++number;
  return number;
}

int interruptedNumber(const ListedNames& listed, const std::string& fileName, int limit) {
  const int free = firstFreeNumber(listed, fileName);
  const bool isInterrupted = free <= limit && listed.count(revisionName(fileName, limit + 1)) != 0;
  return isInterrupted ? free : 0;
}

}  // namespace lumisk
