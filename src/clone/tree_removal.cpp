#include "clone/tree_removal.h"

#include <cerrno>

#include "clone/clone_rule.h"
#include "clone/entry_metadata.h"
#include "clone/folder_stack.h"

namespace lumisk {
namespace {

// Descriptors that are kept on the way down; the others are opened again on the way up.
constexpr std::size_t kOpenLevels = 32;

}  // namespace

void TreeRemoval::removeExtras(int folder, const NameList& standing, const NameList& wanted, const std::string& path) {
  std::size_t at = 0;
  bool isProven = false;
  for (std::size_t i = 0; i < standing.size() && !state_.mustStop(); ++i) {
    const std::string_view name = standing.name(i);
    while (at < wanted.size() && wanted.name(at) < name) ++at;
    if (at < wanted.size() && wanted.name(at) == name) continue;
    if (!isProven && !state_.isSourceThere()) return;
    isProven = true;
    remove(folder, std::string(name), path.empty() ? std::string(name) : path + "/" + std::string(name));
  }
}

bool TreeRemoval::remove(int folder, const std::string& name, const std::string& path) {
  const auto status = state_.files.status(folder, name);
  if (!status && status.error().code == ENOENT) return true;
  if (!status) return state_.failed(path, status.error()), false;
  if (status->type == FileType::kFolder) return removeTree(folder, name, path);
  return removeOne(folder, name, *status, path);
}

bool TreeRemoval::removeOne(int folder, const std::string& name, const FileStatus& status, const std::string& path) {
  state_.mark.beforeChange(state_.target.root.get());
  const auto removeIt = [&] {
    return status.type == FileType::kFolder ? state_.files.removeFolder(folder, name)
                                            : state_.files.removeFile(folder, name);
  };
  auto removed = removeIt();
  if (!removed && removed.error().code == EPERM && unprotect(state_, folder, name)) removed = removeIt();
  if (!removed && removed.error().code != ENOENT) return state_.failed(path, removed.error()), false;
  ++state_.report.removed;
  return true;
}

bool TreeRemoval::removeTree(int folder, const std::string& name, const std::string& path) {
  std::vector<Level> levels;
  if (const auto entered = enter(folder, name, levels); !entered) return state_.failed(path, entered.error()), false;
  for (;;) {
    Level& level = levels.back();
    if (level.next < level.names.size() && !state_.mustStop()) {
      removeNext(levels, path);
      continue;
    }
    const Level left = std::move(level);
    levels.pop_back();
    if (levels.empty()) return removeEmptied(folder, left, path);
    Level& above = levels.back();
    if (!above.folder.isOpen()) {
      auto opened = openSameParent(state_.files, left.folder.get(), above.identity);
      if (!opened) return state_.failed(path, opened.error()), false;
      above.folder = std::move(*opened);
    }
    if (!removeEmptied(above.folder.get(), left, path)) above.holdsMore = true;
  }
}

Result<void> TreeRemoval::enter(int folder, const std::string& name, std::vector<Level>& levels) {
  Level level;
  LUMISK_TRY(level.folder, state_.files.openFolder(folder, name));
  LUMISK_TRY(const FileStatus status, state_.files.statusOf(level.folder.get()));
  if (isOtherFileSystem(status, state_.target.device))
    return fail("remove the folder", name, 0, "another file system is mounted there");
  if (isProtected(status)) LUMISK_CHECK(unprotectEntry(state_.files, {folder, name, level.folder.get()}, status.type));
  LUMISK_TRY(level.names, listNames(state_.files, level.folder.get()));
  level.identity = status.identity;
  level.name = name;
  levels.push_back(std::move(level));
  if (levels.size() > kOpenLevels) levels[levels.size() - 1 - kOpenLevels].folder.reset();
  return {};
}

void TreeRemoval::removeNext(std::vector<Level>& levels, const std::string& path) {
  Level& level = levels.back();
  const std::string name(level.names.name(level.next++));
  const auto status = state_.files.status(level.folder.get(), name);
  if (!status) {
    if (status.error().code == ENOENT) return;
    level.holdsMore = true;
    return state_.failed(path, status.error());
  }
  if (status->type != FileType::kFolder) {
    if (!removeOne(level.folder.get(), name, *status, path)) level.holdsMore = true;
    return;
  }
  if (const auto entered = enter(level.folder.get(), name, levels); !entered) {
    levels.back().holdsMore = true;
    state_.failed(path, entered.error());
  }
}

bool TreeRemoval::removeEmptied(int folder, const Level& level, const std::string& path) {
  if (level.holdsMore || state_.mustStop()) return false;
  FileStatus status;
  status.type = FileType::kFolder;
  return removeOne(folder, level.name, status, path);
}

bool unprotect(CloneState& state, int folder, const std::string& name) {
  const auto status = state.files.status(folder, name);
  if (!status || !isProtected(*status)) return false;
  return unprotectEntry(state.files, {folder, name}, status->type).has_value();
}

}  // namespace lumisk
