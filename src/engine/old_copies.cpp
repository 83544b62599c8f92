#include "engine/old_copies.h"

#include <cerrno>

#include "engine/tagged_name.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::string_view kTag = "(OLD)";

Result<void> copy(FileCopier& copier, const Place& file, const FileStatus& seen, const Place& old) {
  if (seen.type == FileType::kLink) {
    const auto outcome = copier.copyMacintoshFileLink(file, seen, old, std::nullopt);
    if (outcome == FileCopier::LinkOutcome::kMade) return {};
    return fail("copy the link", file.path, 0, "it could not be made as " + old.name);
  }
  LUMISK_CHECK(copier.copyMacintoshFile(file, seen, old, std::nullopt));
  return {};
}

}  // namespace

std::string stringByAppendOLDTag(const std::string& path) {
  return paths::join(paths::parent(path), taggedName(paths::lastComponent(path), kTag));
}

Result<Place> copyFileWithOLDTag(RunState& run, FileCopier& copier, Trash& trash, const Place& file,
                                 const FileStatus& seen) {
  Place old{file.folder, taggedName(file.name, kTag), stringByAppendOLDTag(file.path)};
  const auto standing = run.files.status(old.folder, old.name);
  if (!standing && standing.error().code != ENOENT) return fail(standing.error());
  if (standing) LUMISK_CHECK(trash.moveToTrash(old.folder, old.name, old.path));
  LUMISK_CHECK(copy(copier, file, seen, old));
  return old;
}

}  // namespace lumisk
