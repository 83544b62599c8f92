#include "platform/trash_listing.h"

#include <array>
#include <cerrno>

#include "platform/paths.h"
#include "platform/trash_info.h"

namespace lumisk {
namespace {

constexpr std::size_t kLongestRecord = 64 * 1024;  // a path of 4096 bytes, each encoded in three, and room for more

Result<Descriptor> nearestFolder(FileCalls& files, std::string path) {
  for (;;) {
    auto folder = files.openRoot(path);
    const bool isMissing = !folder && (folder.error().code == ENOENT || folder.error().code == ENOTDIR);
    if (!isMissing || path == "/") return folder;
    path = paths::parent(path);
  }
}

Result<std::string> readStart(FileCalls& files, int folder, const std::string& name) {
  LUMISK_TRY(const Descriptor file, files.openFile(folder, name));
  std::string text;
  std::array<std::byte, 4096> buffer;
  while (text.size() < kLongestRecord) {
    LUMISK_TRY(const std::size_t size, files.read(file.get(), buffer));
    if (size == 0) break;
    text.append(reinterpret_cast<const char*>(buffer.data()), size);
  }
  return text;
}

bool saysNothingIsThere(const Error& error) {
  return error.code == ENOENT || error.code == ENOTDIR || error.code == ELOOP || error.code == EXDEV;
}

}  // namespace

void TrashListing::add(const std::string& path, const std::string& fallbackFolder) {
  const auto folder = nearestFolder(files_, paths::parent(path));
  if (!folder) return problems_.push_back(folder.error());
  TrashFinder finder(files_, fallbackFolder, TrashFinder::Missing::kLeave);
  for (const auto find : {&TrashFinder::home, &TrashFinder::top, &TrashFinder::fallback})
    take((finder.*find)(0, folder->get()));
}

// Somebody else's folder under our trash's name (EPERM) has nothing of ours.
void TrashListing::take(Result<TrashFolder> found) {
  if (!found) {
    if (!saysNothingIsThere(found.error()) && found.error().code != EPERM) problems_.push_back(found.error());
    return;
  }
  if (!read_.insert(found->identity).second) return;
  if (const auto done = read(*found); !done) problems_.push_back(done.error());
}

Result<void> TrashListing::read(const TrashFolder& trash) {
  const std::string_view extension = trash_info::kExtension;
  std::vector<FolderEntry> infos;
  LUMISK_CHECK(files_.listFolder(trash.info.get(), infos));
  for (const FolderEntry& info : infos) {
    const bool isRecord = info.name.size() > extension.size() && info.name.ends_with(extension);
    if (!isRecord) continue;
    const auto done = readRecord(trash, info.name);
    if (!done && !saysNothingIsThere(done.error())) problems_.push_back(done.error());
  }
  return {};
}

Result<void> TrashListing::readRecord(const TrashFolder& trash, const std::string& infoName) {
  LUMISK_TRY(const std::string text, readStart(files_, trash.info.get(), infoName));
  const auto record = trash_info::parse(text);
  if (!record) return {};
  const std::string name = infoName.substr(0, infoName.size() - std::string_view(trash_info::kExtension).size());
  entries_.push_back({paths::normalised(record->path, trash.top.empty() ? "/" : trash.top),
                      paths::join(paths::join(trash.path, "files"), name), record->deleted});
  return {};
}

}  // namespace lumisk
