#include <cerrno>

#include "engine/directory_walk.h"
#include "platform/paths.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kDefaultMode = 0777;  // less what the user's umask takes away

// The lowest folder of the path that stands, opened; what is missing below it goes to `missing`, lowest first.
Result<Descriptor> openStanding(FileCalls& files, std::string path, std::vector<std::string>& missing) {
  for (;;) {
    auto folder = files.openRoot(path);
    if (folder || folder.error().code != ENOENT || path == "/") return folder;
    if (workspace::isVolumesFolder(paths::parent(path))) return folder;
    missing.push_back(paths::lastComponent(path));
    path = paths::parent(path);
  }
}

Result<Descriptor> makeAndOpen(FileCalls& files, const Descriptor& parent, const std::string& name) {
  const auto made = files.makeFolder(parent.get(), name, kDefaultMode);
  if (!made && made.error().code != EEXIST) return fail(made.error());
  return files.openFolder(parent.get(), name);
}

}  // namespace

bool createDirectoryAtPath(FileCalls& files, const std::string& path) {
  if (!path.starts_with('/')) return false;
  std::vector<std::string> missing;
  auto folder = openStanding(files, path, missing);
  for (; folder && !missing.empty(); missing.pop_back()) folder = makeAndOpen(files, *folder, missing.back());
  return folder.has_value();
}

}  // namespace lumisk
