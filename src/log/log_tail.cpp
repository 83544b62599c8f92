#include "log/log_tail.h"

#include <array>
#include <cerrno>

#include "platform/paths.h"

namespace lumisk {

LogTail::LogTail(FileCalls& files, const std::string& path, std::uint64_t mostOfOld)
    : files_(files), folder_(paths::parent(path)), name_(paths::lastComponent(path)), mostOfOld_(mostOfOld) {}

Result<std::string> LogTail::next() {
  if (file_.isOpen()) {
    LUMISK_TRY(std::string text, read());
    if (!text.empty()) return text;
  }
  // Only at the end, so that nothing of the old one is missed.
  LUMISK_CHECK(reopenWhenReplaced());
  if (!file_.isOpen()) return std::string();
  return read();
}

Result<std::string> LogTail::read() {
  std::array<std::byte, 65536> buffer;
  for (;;) {
    LUMISK_TRY(const std::size_t size, files_.read(file_.get(), buffer));
    position_ += size;
    std::string text(reinterpret_cast<const char*>(buffer.data()), size);
    if (!isInsideLine_ || size == 0) return text;
    const auto end = text.find('\n');
    if (end == std::string::npos) continue;
    isInsideLine_ = false;
    text.erase(0, end + 1);
    if (!text.empty()) return text;
  }
}

Result<void> LogTail::reopenWhenReplaced() {
  auto folder = files_.openRoot(folder_);
  if (!folder && folder.error().code == ENOENT) return {};
  if (!folder) return fail(folder.error());
  auto file = files_.openFile(folder->get(), name_);
  if (!file && file.error().code == ENOENT) return {};
  if (!file) return fail(file.error());
  LUMISK_TRY(const FileStatus status, files_.statusOf(file->get()));
  const bool isSame = file_.isOpen() && status.identity == identity_ && status.size >= position_;
  if (status.type != FileType::kRegular || isSame) return {};
  const bool isFirst = beginnings_ == 0;
  file_ = std::move(*file);
  identity_ = status.identity;
  position_ = 0;
  isInsideLine_ = false;
  ++beginnings_;
  return isFirst ? passByOld(status.size) : Result<void>();
}

Result<void> LogTail::passByOld(std::uint64_t size) {
  if (size <= mostOfOld_) return {};
  LUMISK_CHECK(files_.seek(file_.get(), size - mostOfOld_));
  position_ = size - mostOfOld_;
  isInsideLine_ = true;
  return {};
}

}  // namespace lumisk
