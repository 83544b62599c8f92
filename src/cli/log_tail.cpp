#include "cli/log_tail.h"

#include <array>
#include <cerrno>

#include "platform/paths.h"

namespace lumisk {

LogTail::LogTail(FileCalls& files, const std::string& path)
    : files_(files), folder_(paths::parent(path)), name_(paths::lastComponent(path)) {}

Result<std::string> LogTail::next() {
  std::array<std::byte, 65536> buffer;
  if (file_.isOpen()) {
    LUMISK_TRY(const std::size_t size, files_.read(file_.get(), buffer));
    if (size > 0) return std::string(reinterpret_cast<const char*>(buffer.data()), size);
  }
  // Only at the end, so that nothing of the old one is missed.
  LUMISK_CHECK(reopenWhenReplaced());
  if (!file_.isOpen()) return std::string();
  LUMISK_TRY(const std::size_t size, files_.read(file_.get(), buffer));
  return std::string(reinterpret_cast<const char*>(buffer.data()), size);
}

Result<void> LogTail::reopenWhenReplaced() {
  auto folder = files_.openRoot(folder_);
  if (!folder && folder.error().code == ENOENT) return {};
  if (!folder) return fail(folder.error());
  auto file = files_.openFile(folder->get(), name_);
  if (!file && file.error().code == ENOENT) return {};
  if (!file) return fail(file.error());
  LUMISK_TRY(const FileStatus status, files_.statusOf(file->get()));
  if (status.type != FileType::kRegular || (file_.isOpen() && status.identity == identity_)) return {};
  file_ = std::move(*file);
  identity_ = status.identity;
  return {};
}

}  // namespace lumisk
