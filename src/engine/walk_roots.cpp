#include "engine/walk_roots.h"

#include <cerrno>

#include "engine/destination_lookup.h"
#include "engine/folder_sides.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

bool contains(const std::vector<std::string>& folders, const std::string& path) {
  return std::any_of(folders.begin(), folders.end(),
                     [&](const std::string& folder) { return withoutTrailingSlashes(folder) == path; });
}

bool isNoFolder(const Error& error) {
  return error.code == ENOTDIR || error.code == ENOENT;  // a link may lead nowhere
}

}  // namespace

bool WalkRoots::open(std::string source, std::string destination, int layer) {
  source = withoutTrailingSlashes(std::move(source));
  destination = withoutTrailingSlashes(std::move(destination));
  FolderFrame frame;
  frame.layer = layer;
  walk_.borders.forgetDestinations();
  if (!openSource(frame, source, destination) || !openDestination(frame, source, destination)) return false;
  noteDestinations(frame);
  walk_.stack.begin(std::move(frame), std::move(source), std::move(destination));
  return true;
}

// The source.

bool WalkRoots::openSource(FolderFrame& frame, std::string& source, std::string& destination) {
  const std::string asked = source;
  const auto read = readSource(frame, source, destination);
  if (!read) {
    walk_.report.attributesFailed(asked, read.error());
    return false;
  }
  const char* border = walk_.borders.whyNotWalked(frame.sourceStatus(), {}, std::nullopt);
  if (border) walk_.report.refused(asked, border);
  return border == nullptr;
}

Result<void> WalkRoots::readSource(FolderFrame& frame, std::string& source, std::string& destination) {
  auto folder = run_.files.openRoot(source);
  if (!folder && isNoFolder(folder.error())) return readParentOfSource(frame, source, destination);
  if (!folder) return fail(std::move(folder).error());
  LUMISK_CHECK(takeSource(run_, frame, std::move(*folder)));
  return listSource(run_.files, frame);
}

// A target takes the entry in; any other destination path names the entry.
Result<void> WalkRoots::readParentOfSource(FolderFrame& frame, std::string& source, std::string& destination) {
  const std::string name = paths::lastComponent(source);
  const std::string parent = paths::parent(source);
  LUMISK_TRY(frame.source, run_.files.openRoot(parent));
  LUMISK_CHECK(run_.files.status(frame.source.get(), name));
  LUMISK_TRY(frame.sourceInfo.status, run_.files.statusOf(frame.source.get()));
  frame.sourceNames = NameList({FolderEntry{name, FileType::kUnknown}});
  frame.isSingleEntry = true;
  source = parent;
  if (!contains(run_.info.targetPaths, destination)) destination = paths::parent(destination);
  return {};
}

// The destination.

bool WalkRoots::openDestination(FolderFrame& frame, const std::string& source, const std::string& destination) {
  const auto found = findDestination(frame, destination);
  if (!found && found.error().code == kNamesClash) {
    walk_.report.refused(source, "the target cannot tell its name from that of another source");
    return false;
  }
  if (!found) {
    walk_.report.creationFailed(destination, found.error());
    return false;
  }
  const bool isItself = frame.destination.isOpen() && !frame.isSingleEntry &&
                        frame.destinationStatus.identity == frame.sourceStatus().identity;
  if (isItself) walk_.report.refused(source, "it is its own destination");
  return !isItself;
}

// The folders of a job are what the user named, and may be links; they keep their own dates and permissions.
Result<void> WalkRoots::findDestination(FolderFrame& frame, const std::string& destination) {
  const bool isOfJob = frame.isSingleEntry || contains(run_.info.targetPaths, destination) ||
                       contains(run_.info.sourcePaths, destination);
  const std::string opened = isOfJob ? destination : paths::parent(destination);
  auto folder = run_.files.openRoot(opened);
  if (!folder && folder.error().code == ENOENT && run_.dryRun) return {};
  if (!folder) return fail(std::move(folder).error());
  if (!isOfJob) return findOrMake(frame, {folder->get(), paths::lastComponent(destination), destination});
  frame.metadata = FolderMetadata::kItsOwn;
  return takeStanding(run_.files, frame, std::move(*folder));
}

Result<void> WalkRoots::findOrMake(FolderFrame& frame, const Place& place) {
  auto standing = run_.files.status(place.folder, place.name);
  if (!standing && standing.error().code != ENOENT) return fail(std::move(standing).error());
  if (!standing) return make(frame, place, std::nullopt);
  if (belongsToEarlierSource(place, standing->identity)) return fail("share a name", place.path, kNamesClash);
  if (standing->type != FileType::kFolder) return make(frame, place, *standing);
  LUMISK_TRY(Descriptor folder, run_.files.openFolder(place.folder, place.name));
  return takeStanding(run_.files, frame, std::move(folder));
}

Result<void> WalkRoots::make(FolderFrame& frame, const Place& place, const std::optional<FileStatus>& standing) {
  if (run_.onEntry) run_.onEntry(EntryOutcome::kFolderMade, place.path, standing ? "not a folder there" : "new");
  if (run_.dryRun) return {};
  LUMISK_TRY(auto made, walk_.copier.createMacintoshDirectory(place, standing));
  walk_.wroteAnything = true;
  const auto inherits = newEntriesInherit(run_.files, place.folder);
  takeMade(frame, std::move(made), inherits && !*inherits);
  return {};
}

// Whether what stands there is where another source of the job goes, under a name that folds to the same.
bool WalkRoots::belongsToEarlierSource(const Place& place, const FileIdentity& standing) const {
  for (const std::string& source : run_.info.sourcePaths) {
    const std::string name = paths::lastComponent(source);
    if (name == place.name) return false;
    const auto others = name.empty() ? Result<FileStatus>(fail("", "", ENOENT)) : run_.files.status(place.folder, name);
    if (others && others->identity == standing) return true;
  }
  return false;
}

void WalkRoots::noteDestinations(const FolderFrame& frame) {
  if (frame.destination.isOpen()) walk_.borders.addDestination(frame.destinationStatus.identity);
  for (const std::string& target : run_.info.targetPaths) {
    const auto folder = run_.files.openRoot(target);
    const auto status = folder ? run_.files.statusOf(folder->get()) : fail(folder.error());
    if (status) walk_.borders.addDestination(status->identity);
  }
}

}  // namespace lumisk
