#include "engine/directory_walk.h"
#include "engine/walk_borders.h"
#include "platform/name_list.h"

namespace lumisk {
namespace {

bool isFolder(FileCalls& files, int folder, const NameList& names, std::size_t index) {
  if (names.type(index) != FileType::kUnknown) return names.type(index) == FileType::kFolder;
  const auto status = files.status(folder, std::string(names.name(index)));
  return status && status->type == FileType::kFolder;
}

std::uint64_t countBelow(RunState& run, const Descriptor& folder, int layer) {
  const auto names = listNames(run.files, folder.get());
  if (!names) return 0;
  std::uint64_t count = names->size();
  for (std::size_t i = 0; i < names->size() && !run.mustStop(); ++i) {
    run.waitWhilePaused();
    ++run.m_nFileCount;
    if (layer <= 1 || !isFolder(run.files, folder.get(), *names, i)) continue;
    const std::string name(names->name(i));
    if (whyNotWalked(name)) continue;
    if (const auto child = run.files.openFolder(folder.get(), name)) count += countBelow(run, *child, layer - 1);
  }
  return count;
}

}  // namespace

std::uint64_t calculateDirectoryNumbers(RunState& run, const std::string& path, int layer) {
  if (path == "/Volumes" || path == "//Volumes") return 0;
  const auto folder = run.files.openRoot(path);
  return folder ? countBelow(run, *folder, layer) : 1;
}

}  // namespace lumisk
