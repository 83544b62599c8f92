#include "engine/version_catalog.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <tuple>

#include "engine/folder_path.h"
#include "engine/old_copies.h"
#include "engine/revision_numbering.h"
#include "engine/tagged_name.h"
#include "platform/paths.h"
#include "platform/trash_finder.h"
#include "platform/trash_listing.h"

namespace lumisk {
namespace {

bool isAbsence(const Error& error) {
  return error.code == ENOENT || error.code == ENOTDIR || error.code == ELOOP;
}

std::string joined(const std::vector<std::string>& components) {
  std::string path;
  for (const std::string& component : components) path = path.empty() ? component : path + "/" + component;
  return path;
}

// "" for the folder itself; nothing when the path does not lie in it.
std::optional<std::string> below(const std::string& path, const std::string& folder) {
  if (!paths::isInside(path, folder)) return std::nullopt;
  auto components = paths::components(path);
  const auto skipped = static_cast<std::ptrdiff_t>(paths::components(folder).size());
  return joined({components.begin() + skipped, components.end()});
}

class Search {
 public:
  explicit Search(FileCalls& files) : files_(files) {}

  void lookInto(const VersionPlace& place);
  void lookIntoTrash(const std::vector<VersionPlace>& places);
  KnownVersions finish();

 private:
  using Entry = std::optional<FileStatus>;
  Result<Entry> statusBelow(const std::string& root, const std::string& relative);
  void lookFor(Version version, const std::string& root);
  void lookAtSource(const VersionPlace& place);
  void lookForRevisions(const VersionPlace& place, const std::string& path);
  Result<void> listRevisions(const VersionPlace& place, const std::string& path);
  void lookForTrashed(const TrashedEntry& entry, const std::string& path, const VersionPlace& place);
  void take(Version version);
  void problem(const std::string& path, Error error);

  FileCalls& files_;
  KnownVersions known_;
  std::set<std::string> taken_;  // paths
  std::set<std::string> complained_;
};

// The root itself must be there; below it a missing entry is an answer.
Result<Search::Entry> Search::statusBelow(const std::string& root, const std::string& relative) {
  LUMISK_TRY(const Descriptor opened, files_.openRoot(root));
  if (relative.empty()) {
    LUMISK_TRY(const FileStatus status, files_.statusOf(opened.get()));
    return status;
  }
  const std::string parent = paths::parent(relative);
  const auto folder = openFolderBelow(files_, opened.get(), parent);
  if (!folder && isAbsence(folder.error())) return std::nullopt;
  if (!folder) return fail(folder.error());
  const auto status = files_.status(folder->get(), paths::lastComponent(relative));
  if (status) return *status;
  if (status.error().code == ENOENT) return std::nullopt;
  return fail(status.error());
}

void Search::lookFor(Version version, const std::string& root) {
  const auto relative = below(version.path, root);
  if (!relative) return;
  const auto found = statusBelow(root, *relative);
  if (!found) return problem(found.error().code == ENOENT ? root : version.path, found.error());
  if (!*found) return;
  version.status = **found;
  take(std::move(version));
}

void Search::lookInto(const VersionPlace& place) {
  lookFor({VersionKind::kCopy, place.copy, {}, 0, std::nullopt, place}, place.target);
  if (place.asked == VersionPlace::Asked::kCopy) lookAtSource(place);
  lookForRevisions(place, place.copy);
  lookForRevisions(place, place.original);
  // Other jobs make no "(OLD)" copies: what has such a name there is a file of its own.
  if (place.type != JobType::kSyncWithConflicts) return;
  if (place.copy != place.target)
    lookFor({VersionKind::kOld, stringByAppendOLDTag(place.copy), {}, 0, std::nullopt, place}, place.target);
  // At a source that is gone there is nothing to be found, and nothing to complain about.
  if (place.original != place.source && files_.openRoot(place.source))
    lookFor({VersionKind::kOld, stringByAppendOLDTag(place.original), {}, 0, std::nullopt, place}, place.source);
}

// A source that is away has nothing to offer, and was not asked for.
void Search::lookAtSource(const VersionPlace& place) {
  const bool isFile = place.original == place.source && !files_.openRoot(place.source);
  const std::string root = isFile ? paths::parent(place.source) : place.source;
  if (files_.openRoot(root)) lookFor({VersionKind::kSource, place.original, {}, 0, std::nullopt, place}, root);
}

void Search::lookForRevisions(const VersionPlace& place, const std::string& path) {
  const auto listed = listRevisions(place, path);
  if (!listed && !isAbsence(listed.error())) problem(place.firstTarget, listed.error());
}

Result<void> Search::listRevisions(const VersionPlace& place, const std::string& path) {
  const std::string relative = joined(revisionFolders(path, place.firstTarget, place.names));
  LUMISK_TRY(const Descriptor root, files_.openRoot(place.firstTarget));
  LUMISK_TRY(const Descriptor folder, openFolderBelow(files_, root.get(), relative));
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(files_.listFolder(folder.get(), entries));
  const std::string folderPath = paths::join(place.firstTarget, relative);
  for (const FolderEntry& entry : entries) {
    const int number = revisionNumber(entry.name, paths::lastComponent(path));
    if (number == 0) continue;
    LUMISK_TRY(const FileStatus status, files_.status(folder.get(), entry.name));
    take({VersionKind::kRevision, paths::join(folderPath, entry.name), status, number, std::nullopt, place});
  }
  return {};
}

void Search::lookIntoTrash(const std::vector<VersionPlace>& places) {
  TrashListing trash(files_);
  for (const VersionPlace& place : places) {
    trash.add(place.original, "");
    trash.add(place.copy, place.target);
    trash.add(place.firstTarget, place.firstTarget);
  }
  for (const VersionPlace& place : places) {
    // A record may spell the path by its real folders.
    for (const std::string& path : std::set<std::string>{
             place.original, place.copy, resolvedPath(files_, place.original), resolvedPath(files_, place.copy)})
      for (const TrashedEntry& entry : trash.entries()) lookForTrashed(entry, path, place);
  }
  for (const Error& error : trash.problems()) problem(error.path, error);
}

void Search::lookForTrashed(const TrashedEntry& entry, const std::string& path, const VersionPlace& place) {
  const auto rest = below(path, entry.original);
  if (!rest || entry.original == "/") return;
  const std::string trashed = rest->empty() ? entry.path : paths::join(entry.path, *rest);
  lookFor({VersionKind::kTrash, trashed, {}, 0, entry.deleted, place}, paths::parent(entry.path));
}

void Search::take(Version version) {
  const FileType type = version.status.type;
  const bool canBeRestored = type == FileType::kRegular || type == FileType::kFolder || type == FileType::kLink;
  if (canBeRestored && taken_.insert(version.path).second) known_.versions.push_back(std::move(version));
}

// One target that is away is said once.
void Search::problem(const std::string& path, Error error) {
  if (!complained_.insert(path).second) return;
  error.path = path;
  known_.problems.push_back(std::move(error));
}

KnownVersions Search::finish() {
  const auto isNewer = [](const Version& a, const Version& b) {
    return std::tie(b.status.modified, a.kind, b.revision, a.path) <
           std::tie(a.status.modified, b.kind, a.revision, b.path);
  };
  std::sort(known_.versions.begin(), known_.versions.end(), isNewer);
  return std::move(known_);
}

}  // namespace

KnownVersions findVersions(FileCalls& files, const std::vector<VersionPlace>& places) {
  Search search(files);
  for (const VersionPlace& place : places) search.lookInto(place);
  search.lookIntoTrash(places);
  return search.finish();
}

int revisionNumber(const std::string& listedName, const std::string& fileName) {
  constexpr std::string_view kTagStart = "(Qel Lumisk ";
  constexpr std::size_t kMostDigits = 9;
  for (auto at = listedName.find(kTagStart); at != std::string::npos; at = listedName.find(kTagStart, at + 1)) {
    int number = 0;
    std::size_t digit = at + kTagStart.size();
    for (std::size_t i = 0; i < kMostDigits && digit < listedName.size(); ++i, ++digit) {
      const char character = listedName[digit];
      if (character < '0' || character > '9') break;
      number = number * 10 + (character - '0');
    }
    // A file's own name may hold a tag as well; only the name made anew proves which one counts.
    if (number > 0 && revisionName(fileName, number) == listedName) return number;
  }
  return 0;
}

std::string resolvedPath(FileCalls& files, const std::string& path) {
  std::string rest = "/" + paths::lastComponent(path);
  for (std::string folder = paths::parent(path);; folder = paths::parent(folder)) {
    const auto opened = files.openRoot(folder);
    const std::string resolved = opened ? pathOfOpenFolder(opened->get()) : "";
    if (!resolved.empty()) return resolved == "/" ? rest : resolved + rest;
    if (folder == "/" || (!opened && opened.error().code != ENOENT && opened.error().code != ENOTDIR)) return path;
    rest.insert(0, "/" + paths::lastComponent(folder));
  }
}

}  // namespace lumisk
