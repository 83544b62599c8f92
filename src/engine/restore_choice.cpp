#include "engine/restore_choice.h"

#include <map>

#include "engine/copy_rule.h"
#include "engine/info_files.h"
#include "engine/revision_numbering.h"
#include "platform/byte_text.h"
#include "platform/paths.h"
#include "platform/trash_listing.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

using Entries = std::map<std::string, KnownEntry>;

bool isOwnName(const std::string& name) {
  return isSkippedName(name) || isTemporaryName(name) || isInfoFileName(name);
}

enum class Presence { kThere, kGone };

void note(Entries& entries, const std::string& name, FileType type, Presence presence) {
  if (isOwnName(name)) return;
  KnownEntry& entry = entries.try_emplace(name, KnownEntry{name, type, true}).first->second;
  if (presence == Presence::kThere) entry.isGone = false;
}

FileType typeOf(FileCalls& files, const Descriptor& folder, const FolderEntry& entry) {
  if (entry.type != FileType::kUnknown) return entry.type;
  const auto status = files.status(folder.get(), entry.name);
  return status ? status->type : FileType::kUnknown;
}

void noteListed(FileCalls& files, Entries& entries, const std::string& path, Presence presence) {
  const auto folder = files.openRoot(path);
  if (!folder) return;
  std::vector<FolderEntry> listed;
  if (!files.listFolder(folder->get(), listed)) return;
  for (const FolderEntry& entry : listed) note(entries, entry.name, typeOf(files, *folder, entry), presence);
}

FileType typeAt(FileCalls& files, const std::string& path) {
  const auto folder = files.openRoot(paths::parent(path));
  const auto status = folder ? files.status(folder->get(), paths::lastComponent(path)) : fail(folder.error());
  return status ? status->type : FileType::kUnknown;
}

void noteTrashed(FileCalls& files, Entries& entries, const VersionPlace& place) {
  TrashListing trash(files);
  trash.add(place.original, "");
  trash.add(place.copy, place.target);
  for (const TrashedEntry& entry : trash.entries()) {
    const std::string parent = paths::parent(entry.original);
    if (parent != place.original && parent != place.copy) continue;
    const FileType type = typeAt(files, entry.path);
    if (type != FileType::kUnknown) note(entries, paths::lastComponent(entry.original), type, Presence::kGone);
  }
}

bool isTargetsOwn(const VersionPlace& place, const std::string& name) {
  return place.copy == place.target && (name == kRevisionFolderName || name.starts_with(".Trash"));
}

}  // namespace

AskedPath askedPlaces(FileCalls& files, PropertyList::Array jobs, const std::string& path) {
  const PlaceNames current{workspace::computerName(), workspace::rootDisplayName()};
  AskedPath asked{path, versionPlaces(jobs, path, current), {}};
  if (asked.places.empty()) {
    const std::string resolved = resolvedPath(files, path);
    asked.places = versionPlaces(jobs, resolved, current);
    if (!asked.places.empty()) asked.path = resolved;
  }
  asked.jobs = std::move(jobs);
  return asked;
}

std::vector<KnownEntry> knownEntries(FileCalls& files, const std::vector<VersionPlace>& places) {
  Entries entries;
  for (const VersionPlace& place : places) {
    noteListed(files, entries, place.original, Presence::kThere);
    Entries copies;
    noteListed(files, copies, place.copy, Presence::kGone);
    std::erase_if(copies, [&](const auto& entry) { return isTargetsOwn(place, entry.first); });
    entries.merge(copies);
    noteTrashed(files, entries, place);
  }
  std::vector<KnownEntry> known;
  for (auto& [name, entry] : entries) known.push_back(std::move(entry));
  std::stable_sort(known.begin(), known.end(), [](const KnownEntry& a, const KnownEntry& b) {
    const bool isFolder = a.type == FileType::kFolder, otherIs = b.type == FileType::kFolder;
    return isFolder != otherIs ? isFolder : foldedName(a.name) < foldedName(b.name);
  });
  return known;
}

std::vector<std::string> targetsOfRestore(const AskedPath& asked, const std::string& destination) {
  std::vector<std::string> targets;
  for (const VersionPlace& place : asked.places) targets.insert(targets.end(), {place.target, place.firstTarget});
  for (const PropertyList& stored : asked.jobs) {
    QUORVELPREFERENCEINFO job;
    if (!jobFromDictionary(stored, job)) continue;
    for (const std::string& target : job.targetPaths)
      if (paths::isInside(destination, target)) targets.push_back(target);
  }
  return targets;
}

std::string firstFolderToMake(const VersionPlace& place, const std::string& destination) {
  if (paths::isInside(destination, place.source)) return place.source;
  const auto below = paths::components(destination);
  const std::size_t depth = paths::components(place.target).size();
  return depth < below.size() ? paths::join(place.target, below[depth]) : "";
}

std::string newerCopyThan(const Version& restored, const KnownVersions& known) {
  if (restored.status.type == FileType::kFolder) return "";
  for (const Version& version : known.versions) {
    if (version.kind == VersionKind::kCopy && version.status.modified > restored.status.modified) return version.path;
  }
  return "";
}

}  // namespace lumisk
