#include "engine/loser_keeper.h"

#include <cerrno>

namespace lumisk {

Result<VersionKeeper::Kept> LoserKeeper::keep(const Place& destination, const FileStatus& standing) {
  if (loser_ == Loser::kByJob) return asTheJobSays_.keep(destination, standing);
  if (standing.type != FileType::kFolder) {
    const auto linked = trash_.linkToTrash(destination.folder, destination.name, destination.path);
    if (linked) return Kept::kLinked;
    if (linked.error().code != EOPNOTSUPP) return fail(linked.error());
  }
  LUMISK_CHECK(trash_.moveToTrash(destination.folder, destination.name, destination.path));
  return Kept::kMoved;
}

}  // namespace lumisk
