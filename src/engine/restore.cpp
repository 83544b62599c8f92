#include "engine/restore.h"

#include <cerrno>

#include "engine/directory_walk.h"
#include "engine/restore_rules.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr int kLayers = 5;
constexpr int kMode = 5;

using Settings = QUORVELPREFERENCEINFOtag_CopyFileObjectPart;

// What is replaced goes to the Trash, whatever the job says of its runs.
Settings settingsOf(const Version& version) {
  Settings settings;
  settings.name = version.place.job;
  settings.bMoveFileTrash = true;
  return settings;
}

std::string trashFallback(const Version& version, const std::string& destination) {
  return paths::isInside(destination, version.place.target) ? version.place.target : "";
}

Result<std::optional<FileStatus>> statusAt(FileCalls& files, const Place& place) {
  const auto status = files.status(place.folder, place.name);
  if (status) return std::optional(*status);
  if (status.error().code == ENOENT) return std::optional<FileStatus>();
  return about(place.path, Result<std::optional<FileStatus>>(fail(status.error())));
}

struct OpenPlace {
  Descriptor folder;
  Place place;
};

Result<OpenPlace> openPlace(FileCalls& files, const std::string& path) {
  OpenPlace open;
  LUMISK_TRY(open.folder, about(path, files.openRoot(paths::parent(path))));
  open.place = {open.folder.get(), paths::lastComponent(path), path};
  return open;
}

// A folder that was made above the destination, and the one in the target that it was copied to.
struct MadeFolder {
  Descriptor folder;
  std::string path;
  std::string counterpart;
};

class Restoration {
 public:
  Restoration(const RestoreServices& services, const Version& version, std::string destination)
      : version_(version),
        destination_(std::move(destination)),
        settings_(settingsOf(version)),
        run_(settings_, services.files, services.clock, Pace(PaceKind::kFull, services.clock), services.log,
             services.dialogs),
        trash_(services.files, services.clock, trashFallback(version, destination_)),
        copier_(run_, noRevisions_, trash_) {
    run_.cancelled = services.cancelled;
    run_.begin = services.clock.now();
    run_.postProgress = services.progress;
  }

  Result<bool> differs();
  Result<RestoreReport> perform(const std::string& makeFoldersFrom);

 private:
  Result<Descriptor> openParent(const std::string& makeFoldersFrom);
  Result<Descriptor> makeFolders(std::string lowest, const std::string& makeFoldersFrom);
  void dressMadeFolders();
  Result<bool> put(const Place& destination);
  Result<bool> putFile(const Place& version, const Place& destination, const std::optional<FileStatus>& standing);
  Result<bool> putLink(const Place& version, const Place& destination, const std::optional<FileStatus>& standing);
  Result<bool> walkFolder(const std::optional<FileStatus>& standing, Sameness sameness);

  const Version& version_;
  const std::string destination_;
  Settings settings_;
  RunState run_;
  NoRevisions noRevisions_;
  Trash trash_;
  FileCopier copier_;
  std::vector<MadeFolder> made_;  // from the top down
};

// Comparing.

Result<bool> Restoration::differs() {
  auto open = openPlace(run_.files, destination_);
  if (!open && open.error().code == ENOENT) return true;
  if (!open) return fail(open.error());
  LUMISK_TRY(const std::optional<FileStatus> standing, statusAt(run_.files, open->place));
  if (!standing) return true;
  if (version_.status.type == FileType::kFolder) {
    run_.dryRun = true;
    return walkFolder(standing, Sameness::kContent);
  }
  if (standing->type != version_.status.type) return true;
  LUMISK_TRY(const OpenPlace version, openPlace(run_.files, version_.path));
  if (standing->type == FileType::kRegular) return !isSameFile(run_, version.place, open->place, Sameness::kContent);
  LUMISK_TRY(const std::string text, run_.files.readLink(version.place.folder, version.place.name));
  LUMISK_TRY(const std::string there, run_.files.readLink(open->place.folder, open->place.name));
  return text != there;
}

// Whether anything was, or in a run that only looks would be, put back.
Result<bool> Restoration::walkFolder(const std::optional<FileStatus>& standing, Sameness sameness) {
  bool differs = false;
  if (run_.dryRun) {
    run_.onEntry = [&](EntryOutcome outcome, const std::string&, const std::string&) {
      differs = differs || (outcome != EntryOutcome::kUnchanged && outcome != EntryOutcome::kSkipped);
    };
  }
  // A folder of the job may be reached by a link, and stays what it is.
  if (standing && standing->type == FileType::kLink) settings_.sourcePaths = {version_.place.source};
  NoRunRecord record;
  RestoreRules rules(run_, version_.place.target, sameness);
  DirectoryWalk walk(run_, copier_, record, rules);
  const bool walked = walk.copyDirectory(version_.path, destination_, kLayers, kMode);
  run_.onEntry = nullptr;
  if (run_.mustStop()) return fail("restore", destination_, ECANCELED);
  if (!walked) return fail("restore", destination_, 0, "the folder could not be walked; the job's log says why");
  return differs || walk.wroteAnything();
}

// Putting back.

Result<RestoreReport> Restoration::perform(const std::string& makeFoldersFrom) {
  LUMISK_TRY(const Descriptor parent, openParent(makeFoldersFrom));
  LUMISK_CHECK(run_.written.begin(parent.get()));
  const Place destination{parent.get(), paths::lastComponent(destination_), destination_};
  run_.log.write("%s: Restoring \"%s\" from \"%s\"\n", settings_.name.c_str(), shown(destination_).c_str(),
                 shown(version_.path).c_str());
  const auto wrote = put(destination);
  dressMadeFolders();
  if (!wrote) return fail(wrote.error());
  RestoreReport report;
  report.wroteAnything = *wrote;
  LUMISK_CHECK(run_.written.settle());
  report.counts = run_.counts;
  return report;
}

Result<bool> Restoration::put(const Place& destination) {
  LUMISK_TRY(const std::optional<FileStatus> standing, statusAt(run_.files, destination));
  if (version_.status.type == FileType::kFolder) return walkFolder(standing, Sameness::kAll);
  LUMISK_TRY(const OpenPlace version, openPlace(run_.files, version_.path));
  return version_.status.type == FileType::kLink ? putLink(version.place, destination, standing)
                                                 : putFile(version.place, destination, standing);
}

Result<bool> Restoration::putFile(const Place& version, const Place& destination,
                                  const std::optional<FileStatus>& standing) {
  const bool isSame =
      standing && standing->type == FileType::kRegular && isSameFile(run_, version, destination, Sameness::kAll);
  if (isSame) return false;
  LUMISK_TRY(const FileCopier::Copied copied,
             copier_.copyMacintoshFile(version, version_.status, destination, standing));
  ++run_.counts.copied;
  run_.counts.bytes += copied.bytes;
  return true;
}

Result<bool> Restoration::putLink(const Place& version, const Place& destination,
                                  const std::optional<FileStatus>& standing) {
  const auto outcome = copier_.copyMacintoshFileLink(version, version_.status, destination, standing);
  if (outcome == FileCopier::LinkOutcome::kSame) return false;
  if (outcome != FileCopier::LinkOutcome::kMade)
    return fail("restore", destination_, 0, "the link could not be made; the job's log says why");
  ++run_.counts.copied;
  return true;
}

// The folders above.

Result<Descriptor> Restoration::openParent(const std::string& makeFoldersFrom) {
  const std::string parent = paths::parent(destination_);
  auto opened = about(parent, run_.files.openRoot(parent));
  const bool mayMake = !makeFoldersFrom.empty() && paths::isInside(parent, makeFoldersFrom);
  if (opened || opened.error().code != ENOENT || !mayMake) return opened;
  return makeFolders(parent, makeFoldersFrom);
}

// 0700 until they are dressed.
Result<Descriptor> Restoration::makeFolders(std::string lowest, const std::string& makeFoldersFrom) {
  std::vector<std::string> missing;
  std::string at = std::move(lowest);
  std::string counterpart = paths::parent(version_.place.copy);
  std::vector<std::string> counterparts;
  auto folder = run_.files.openRoot(at);
  while (!folder && folder.error().code == ENOENT && paths::isInside(at, makeFoldersFrom)) {
    missing.push_back(at);
    counterparts.push_back(counterpart);
    at = paths::parent(at);
    counterpart = paths::parent(counterpart);
    folder = run_.files.openRoot(at);
  }
  if (!folder) return about(at, std::move(folder));
  LUMISK_CHECK(run_.written.begin(folder->get()));
  for (; !missing.empty(); missing.pop_back(), counterparts.pop_back()) {
    const Place place{folder->get(), paths::lastComponent(missing.back()), missing.back()};
    LUMISK_TRY(auto made, about(place.path, copier_.createMacintoshDirectory(place, std::nullopt)));
    LUMISK_TRY(Descriptor kept, run_.files.duplicate(made.folder.get()));
    made_.push_back({std::move(kept), place.path, counterparts.back()});
    *folder = std::move(made.folder);
  }
  return folder;
}

// A folder whose counterpart is gone keeps its private permissions.
void Restoration::dressMadeFolders() {
  for (auto made = made_.rbegin(); made != made_.rend(); ++made) {
    const auto counterpart = run_.files.openRoot(made->counterpart);
    const auto info = counterpart ? readCatalogInfo(run_.files, counterpart->get()) : fail(counterpart.error());
    if (info) (void)copier_.copyMacintoshFinderInfo(*info, made->folder.get(), made->path);
  }
}

bool isAmong(const std::vector<FileIdentity>& identities, const FileIdentity& identity) {
  return std::find(identities.begin(), identities.end(), identity) != identities.end();
}

}  // namespace

Result<bool> differsFrom(const RestoreServices& services, const Version& version, const std::string& destination) {
  NoJobLog quiet;
  RestoreServices looking{services.files, services.clock, quiet, services.dialogs, services.cancelled};
  return Restoration(looking, version, destination).differs();
}

Result<RestoreReport> restoreVersion(const RestoreServices& services, const Version& version,
                                     const std::string& destination, const std::string& makeFoldersFrom) {
  return Restoration(services, version, destination).perform(makeFoldersFrom);
}

Result<std::vector<Descriptor>> lockTargets(FileCalls& files, const std::vector<std::string>& targets) {
  std::vector<Descriptor> locks;
  std::vector<FileIdentity> locked;
  for (const std::string& target : targets) {
    auto folder = files.openRoot(target);
    if (!folder) continue;
    LUMISK_TRY(const FileStatus status, about(target, files.statusOf(folder->get())));
    if (isAmong(locked, status.identity)) continue;  // a second descriptor would wait for the first
    const auto lock = files.lockExclusively(folder->get());
    if (!lock && lock.error().code == EWOULDBLOCK) return fail("lock", target, EWOULDBLOCK);
    locked.push_back(status.identity);
    locks.push_back(std::move(*folder));
  }
  return locks;
}

}  // namespace lumisk
