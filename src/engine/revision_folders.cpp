#include "engine/revision_folders.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

bool beginsWith(const std::vector<std::string>& place, const std::vector<std::string>& beginning) {
  return beginning.size() <= place.size() && std::equal(beginning.begin(), beginning.end(), place.begin());
}

}  // namespace

RevisionFolders::RevisionFolders(RunState& run, Trash& trash)
    : run_(run), trash_(trash), target_(run.files.openRoot(run.info.targetPaths.front())) {}

Result<void> RevisionFolders::enter(const std::vector<std::string>& folders) {
  if (folder_.isOpen() && folders == place_) return {};
  if (!target_) return fail(target_.error());
  LUMISK_TRY(Descriptor folder, run_.files.duplicate(target_->get()));
  std::string path = run_.info.targetPaths.front();
  for (const std::string& name : folders) {
    path = paths::join(path, name);
    LUMISK_TRY(folder, openOrMake(folder.get(), name, path));
  }
  folder_ = std::move(folder);
  place_ = folders;
  for (auto listed = listed_.begin(); listed != listed_.end();)
    listed = beginsWith(place_, listed->first) ? std::next(listed) : listed_.erase(listed);
  return {};
}

Result<Descriptor> RevisionFolders::openOrMake(int parent, const std::string& name, const std::string& path) {
  auto opened = run_.files.openFolder(parent, name);
  if (opened) return opened;
  const int code = opened.error().code;
  if (code != ENOENT && code != ENOTDIR && code != ELOOP) return fail(std::move(opened).error());
  if (code != ENOENT) LUMISK_CHECK(trash_.moveToTrash(parent, name, path));
  return make(parent, name);
}

Result<Descriptor> RevisionFolders::make(int parent, const std::string& name) {
  if (auto made = run_.files.makeFolder(parent, name, 0700); !made && made.error().code != EEXIST)
    return fail(std::move(made).error());
  LUMISK_TRY(Descriptor folder, run_.files.openFolder(parent, name));
  LUMISK_TRY(const FileStatus status, run_.files.statusOf(folder.get()));
  run_.written.wrote(-1, parent, status.identity.device);
  return folder;
}

std::string RevisionFolders::pathOf(const std::string& name) const {
  std::string path = run_.info.targetPaths.front();
  for (const std::string& component : place_) path = paths::join(path, component);
  return paths::join(path, name);
}

Result<ListedNames*> RevisionFolders::names() {
  if (const auto listed = listed_.find(place_); listed != listed_.end()) return &listed->second;
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(run_.files.listFolder(folder_.get(), entries));
  ListedNames names;
  for (FolderEntry& entry : entries) {
    if (isTemporaryName(entry.name))
      (void)run_.files.removeFile(folder_.get(), entry.name);  // of a run that was killed while it copied a version
    else
      names.insert(std::move(entry.name));
  }
  return &(listed_[place_] = std::move(names));
}

}  // namespace lumisk
