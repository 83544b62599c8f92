#include "engine/run_targets.h"

#include <cerrno>

#include "engine/revision_store.h"
#include "platform/paths.h"

namespace lumisk {

Result<void> RunTargets::open(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    LUMISK_CHECK(openOne(path));
    if (&path == &paths.front()) firstIsOpen_ = !targets_.empty();
  }
  return {};
}

Result<void> RunTargets::openOne(const std::string& path) {
  auto folder = run_.files.openRoot(path);
  if (!folder) return {};  // a problem of the sources that go there; usable() finds it again
  LUMISK_TRY(const FileStatus status, run_.files.statusOf(folder->get()));
  if (find(status.identity)) return {};
  auto target = std::make_unique<RunTarget>();
  target->path = path;
  target->folder = std::move(*folder);
  target->identity = status.identity;
  if (!run_.dryRun) {
    LUMISK_CHECK(lock(*target));
    LUMISK_CHECK(run_.written.begin(target->folder.get()));
  }
  targets_.push_back(std::move(target));
  return {};
}

Result<void> RunTargets::lock(const RunTarget& target) {
  auto locked = run_.files.lockExclusively(target.folder.get());
  if (locked) return {};
  if (locked.error().code == EWOULDBLOCK) return fail("lock", target.path, EWOULDBLOCK);
  run_.log.write("%s: can't lock the target \"%s\": %s\n", run_.info.name.c_str(), shown(target.path).c_str(),
                 locked.error().text().c_str());
  return {};
}

void RunTargets::equip(RunRecorder& recorder, const std::function<WalkRules*(RunTarget&)>& rulesFor) {
  for (auto& target : targets_) {
    target->trash = std::make_unique<Trash>(run_.files, run_.clock, target->path);
    target->versions = makeVersions(*target);
    target->copier = std::make_unique<FileCopier>(run_, *target->versions, *target->trash);
    WalkRules* const rules = rulesFor(*target);
    target->walk = rules ? std::make_unique<DirectoryWalk>(run_, *target->copier, recorder, *rules)
                         : std::make_unique<DirectoryWalk>(run_, *target->copier, recorder);
  }
}

std::unique_ptr<VersionKeeper> RunTargets::makeVersions(const RunTarget& target) {
  const auto& info = run_.info;
  if (services_.versionKeeper) {
    if (auto versions = services_.versionKeeper(run_, *target.trash, target.path)) return versions;
  }
  if (info.revision_method == RevisionMethod::kNone) return std::make_unique<NoRevisions>();
  return std::make_unique<RevisionStore>(run_, *target.trash, PlaceNames{info.computerName, info.rootDisplayName});
}

Result<RunTarget*> RunTargets::usable(const std::string& path) {
  LUMISK_TRY(const Descriptor folder, run_.files.openRoot(path));
  LUMISK_TRY(const FileStatus status, run_.files.statusOf(folder.get()));
  RunTarget* const target = find(status.identity);
  if (!target) return fail("find the opened target", path, ESTALE);
  LUMISK_CHECK(run_.files.mayWrite(folder.get(), "."));
  return target;
}

RunTarget* RunTargets::first() {
  return firstIsOpen_ ? targets_.front().get() : nullptr;
}

RunTarget* RunTargets::find(const FileIdentity& identity) {
  for (auto& target : targets_)
    if (target->identity == identity) return target.get();
  return nullptr;
}

Result<void> RunTargets::makeParents(const std::string& target, const std::string& parent) {
  if (run_.files.openRoot(parent)) return {};
  if (!createDirectoryAtPath(run_.files, parent)) return fail("make the folder", parent, 0);
  noteNewFolders(target, parent);
  return {};
}

void RunTargets::noteNewFolders(const std::string& target, std::string folder) {
  while (paths::isInside(folder, target)) {
    if (const auto opened = run_.files.openRoot(folder))
      if (const auto status = run_.files.statusOf(opened->get()))
        run_.written.wrote(-1, opened->get(), status->identity.device);
    if (folder == target) return;
    folder = paths::parent(folder);
  }
}

Result<std::vector<Descriptor>> RunTargets::duplicates() {
  std::vector<Descriptor> folders;
  for (auto& target : targets_) {
    LUMISK_TRY(Descriptor folder, run_.files.duplicate(target->folder.get()));
    folders.push_back(std::move(folder));
  }
  return folders;
}

Result<SourceKind> checkSource(FileCalls& files, const std::string& path) {
  if (auto folder = files.openRoot(path)) {
    LUMISK_CHECK(files.mayRead(folder->get(), "."));
    return SourceKind::kFolder;
  } else if (folder.error().code != ENOTDIR) {
    return fail(std::move(folder).error());
  }
  LUMISK_TRY(const Descriptor parent, files.openRoot(paths::parent(path)));
  LUMISK_CHECK(files.mayRead(parent.get(), paths::lastComponent(path)));
  return SourceKind::kOther;
}

}  // namespace lumisk
