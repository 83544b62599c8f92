#include "platform/trash_finder.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/home_folder.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kPrivateFolder = 0700;

std::string userId() {
  return std::to_string(::geteuid());
}

std::string dataFolder() {
  const char* const shared = std::getenv("XDG_DATA_HOME");
  if (std::getenv("LUMISK_HOME") == nullptr && shared != nullptr && shared[0] == '/') return shared;
  return paths::join(homeFolder(), ".local/share");
}

}  // namespace

std::string homeTrashPath() {
  return paths::join(dataFolder(), kHomeTrashName);
}

Result<FileIdentity> homeTrashIdentity(FileCalls& files) {
  LUMISK_TRY(const Descriptor trash, files.openRoot(homeTrashPath()));
  LUMISK_TRY(const FileStatus status, files.statusOf(trash.get()));
  return status.identity;
}

std::string pathOfOpenFolder(int folder) {
  std::string path(4096, '\0');
  const std::string link = "/proc/self/fd/" + std::to_string(folder);
  const auto size = ::readlink(link.c_str(), path.data(), path.size());
  path.resize(size < 0 || static_cast<std::size_t>(size) == path.size() ? 0 : static_cast<std::size_t>(size));
  return path;
}

TrashFinder::TrashFinder(FileCalls& files, std::string fallbackFolder, Missing missing)
    : files_(files), fallbackFolder_(std::move(fallbackFolder)), missing_(missing) {}

Result<TrashFolder> TrashFinder::home(std::uint64_t device, int /*folder*/) {
  const std::string path = dataFolder();
  LUMISK_TRY(const auto parent, openOrMake(path, device));
  return openTrash(parent.get(), kHomeTrashName, path, {}, device);
}

Result<TrashFolder> TrashFinder::top(std::uint64_t device, int folder) {
  LUMISK_TRY(const auto top, topOf(folder));
  const std::string path = pathOfOpenFolder(top.get());
  if (auto shared = files_.openFolder(top.get(), ".Trash"); shared && isSticky(shared->get()))
    if (auto trash = openTrash(shared->get(), userId(), paths::join(path, ".Trash"), path, device)) return trash;
  return openTrash(top.get(), ".Trash-" + userId(), path, path, device);
}

Result<TrashFolder> TrashFinder::fallback(std::uint64_t device, int /*folder*/) {
  if (fallbackFolder_.empty()) return fail("find a trash folder", fallbackFolder_, EXDEV);
  LUMISK_TRY(const auto target, files_.openRoot(fallbackFolder_));
  LUMISK_CHECK(requireDevice(target.get(), device));
  LUMISK_TRY(const auto parent, openOrMakeIn(target.get(), "Revision"));
  return openTrash(parent.get(), ".Trash", paths::join(fallbackFolder_, "Revision"), {}, device);
}

Result<void> TrashFinder::requireDevice(int folder, std::uint64_t device) {
  if (missing_ == Missing::kLeave) return {};
  LUMISK_TRY(const auto status, files_.statusOf(folder));
  if (status.identity.device != device) return fail("find a trash folder", pathOfOpenFolder(folder), EXDEV);
  return {};
}

Result<Descriptor> TrashFinder::openOrMakeIn(int parent, const std::string& name) {
  auto opened = files_.openFolder(parent, name);
  if (opened || opened.error().code != ENOENT || missing_ == Missing::kLeave) return opened;
  if (auto made = files_.makeFolder(parent, name, kPrivateFolder); !made && made.error().code != EEXIST)
    return fail(std::move(made).error());
  return files_.openFolder(parent, name);
}

// Makes folders only on this device.
Result<Descriptor> TrashFinder::openOrMake(const std::string& path, std::uint64_t device) {
  auto opened = files_.openRoot(path);
  if (opened || opened.error().code != ENOENT || path == "/" || path.empty()) return opened;
  if (missing_ == Missing::kLeave) return opened;
  LUMISK_TRY(const auto parent, openOrMake(paths::parent(path), device));
  LUMISK_CHECK(requireDevice(parent.get(), device));
  return openOrMakeIn(parent.get(), paths::lastComponent(path));
}

bool TrashFinder::isSticky(int folder) {
  constexpr std::uint32_t kStickyBit = 01000;
  const auto status = files_.statusOf(folder);
  return status && (status->mode & kStickyBit) != 0;
}

Result<TrashFolder> TrashFinder::openTrash(int parent, const std::string& name, const std::string& parentPath,
                                           const std::string& top, std::uint64_t device) {
  LUMISK_CHECK(requireDevice(parent, device));
  LUMISK_TRY(const auto trash, openOrMakeIn(parent, name));
  LUMISK_CHECK(requireOurs(parent, trash.get(), name));
  TrashFolder found;
  LUMISK_TRY(found.files, openOrMakeIn(trash.get(), "files"));
  LUMISK_TRY(found.info, openOrMakeIn(trash.get(), "info"));
  LUMISK_CHECK(requireDevice(found.files.get(), device));
  LUMISK_TRY(const auto status, files_.statusOf(found.files.get()));
  found.identity = status.identity;
  found.path = paths::join(parentPath, name);
  found.top = top;
  return found;
}

// Where everybody may make folders, somebody else may have made the one with our name to collect what we throw away.
// On a file system without owners everything belongs to the same user.
Result<void> TrashFinder::requireOurs(int parent, int trash, const std::string& name) {
  LUMISK_TRY(const auto status, files_.statusOf(trash));
  LUMISK_TRY(const auto above, files_.statusOf(parent));
  if (status.owner != ::geteuid() && status.owner != above.owner) return fail("use the trash folder", name, EPERM);
  return {};
}

// Up to where the mount or (inside a mounted btrfs) the subvolume begins.
Result<Descriptor> TrashFinder::topOf(int folder) {
  LUMISK_TRY(auto at, files_.duplicate(folder));
  LUMISK_TRY(auto status, files_.statusOf(at.get()));
  while (!status.isMountRoot) {
    LUMISK_TRY(auto parent, files_.openParent(at.get()));
    LUMISK_TRY(const auto above, files_.statusOf(parent.get()));
    if (above.identity.device != status.identity.device || above.identity == status.identity) break;
    at = std::move(parent);
    status = above;
  }
  return at;
}

}  // namespace lumisk
