#include "engine/destination_lookup.h"

namespace lumisk {
namespace {

// What stands under the name; nothing for a proven absence.
Result<std::optional<FileStatus>> standingAt(FileCalls& files, const FolderFrame& frame, const std::string& name) {
  auto status = files.status(frame.destination.get(), name);
  if (status) return std::optional<FileStatus>(*status);
  if (status.error().code == ENOENT) return std::optional<FileStatus>();
  return fail(std::move(status).error());
}

}  // namespace

Result<void> lookUpDestination(FileCalls& files, FolderFrame& frame, WalkEntry& entry) {
  entry.destinationName = entry.name;
  if (entry.isKnownSame) return {};
  entry.standing.reset();
  if (frame.destinationState == DestinationState::kAbsent) return {};
  if (frame.destinationState == DestinationState::kNew && entry.source.type == FileType::kRegular) return {};
  if (!frame.destinationNames.contains(entry.name)) return lookUpUnlisted(files, frame, entry);
  LUMISK_TRY(entry.standing, standingAt(files, frame, entry.name));
  return {};
}

Result<void> lookUpUnlisted(FileCalls& files, FolderFrame& frame, WalkEntry& entry) {
  LUMISK_TRY(entry.standing, standingAt(files, frame, entry.name));
  if (!entry.standing) return {};
  if (!frame.spellings) frame.spellings = std::make_unique<Spellings>();
  LUMISK_TRY(std::string listed,
             frame.spellings->listedName(files, frame.destination.get(), entry.name, entry.standing->identity));
  const bool isAnother = listed != entry.name;
  if (isAnother && (frame.sourceNames.contains(listed) || !frame.spellings->claim(listed)))
    return fail("share a name", listed, kNamesClash);
  entry.destinationName = std::move(listed);
  return {};
}

}  // namespace lumisk
