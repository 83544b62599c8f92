#include "engine/folder_path.h"

#include <cerrno>

#include "platform/paths.h"

namespace lumisk {

Result<Descriptor> openFolderBelow(FileCalls& files, int root, const std::string& relative) {
  LUMISK_TRY(Descriptor at, files.duplicate(root));
  for (const std::string& name : paths::components(relative)) {
    LUMISK_TRY(Descriptor next, files.openFolder(at.get(), name));
    at = std::move(next);
  }
  return at;
}

Result<bool> isProvenAbsent(FileCalls& files, int root, const std::string& relative) {
  const auto names = paths::components(relative);
  if (names.empty()) return false;
  LUMISK_TRY(Descriptor at, files.duplicate(root));
  for (std::size_t i = 0;; ++i) {
    const auto status = files.status(at.get(), names[i]);
    if (!status) return status.error().code == ENOENT ? Result<bool>(true) : fail(status.error());
    if (i + 1 == names.size()) return false;
    if (status->type != FileType::kFolder) return true;  // an entry of another type has nothing below it
    LUMISK_TRY(Descriptor next, files.openFolder(at.get(), names[i]));
    at = std::move(next);
  }
}

}  // namespace lumisk
