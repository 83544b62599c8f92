#include "engine/small_file.h"

#include <array>
#include <cerrno>
#include <span>

#include "platform/temporary_name.h"

namespace lumisk {
namespace {

constexpr std::uint64_t kLargest = std::uint64_t{256} << 20;

Result<void> writeAll(FileCalls& files, int file, std::string_view bytes) {
  while (!bytes.empty()) {
    LUMISK_TRY(const std::size_t written, files.write(file, std::as_bytes(std::span(bytes.data(), bytes.size()))));
    bytes.remove_prefix(written);
  }
  return {};
}

Result<void> writeTemporary(FileCalls& files, int folder, const std::string& temporary, std::uint32_t mode,
                            std::string_view bytes, SmallFileDurability durability) {
  LUMISK_TRY(Descriptor file, files.createFile(folder, temporary, 0600));
  LUMISK_CHECK(writeAll(files, file.get(), bytes));
  if (mode != 0600) LUMISK_CHECK(files.setMode(file.get(), mode));
  if (durability == SmallFileDurability::kNow) LUMISK_CHECK(files.syncFile(file.get()));
  return files.close(std::move(file));
}

std::uint32_t likeFolder(FileCalls& files, int folder) {
  const auto status = files.statusOf(folder);
  return 0600 | (status ? status->mode & 0044 : 0);
}

}  // namespace

bool isNoSmallFile(const Error& error) {
  return error.code == ENOENT || error.code == ELOOP || error.code == EINVAL || error.code == EFBIG;
}

Result<std::string> readSmallFile(FileCalls& files, int folder, const std::string& name) {
  LUMISK_TRY(const Descriptor file, files.openFile(folder, name));
  LUMISK_TRY(const FileStatus status, files.statusOf(file.get()));
  if (status.type != FileType::kRegular) return fail("read", name, EINVAL);
  if (status.size > kLargest) return fail("read", name, EFBIG);
  std::string bytes;
  std::array<std::byte, 65536> buffer;
  while (true) {
    LUMISK_TRY(const std::size_t size, files.read(file.get(), buffer));
    if (size == 0) return bytes;
    bytes.append(reinterpret_cast<const char*>(buffer.data()), size);
    if (bytes.size() > kLargest) return fail("read", name, EFBIG);
  }
}

Result<void> replaceSmallFile(FileCalls& files, int folder, const std::string& name, std::string_view bytes,
                              SmallFileDurability durability, std::optional<std::uint32_t> newMode) {
  const auto standing = files.status(folder, name);
  const bool isReplaced = standing && standing->type == FileType::kRegular;
  const std::uint32_t mode = isReplaced ? standing->mode : newMode ? *newMode : likeFolder(files, folder);
  const std::string temporary = makeTemporaryName();
  auto done = writeTemporary(files, folder, temporary, mode, bytes, durability);
  if (done) done = files.rename(folder, temporary, folder, name, Replace::kAllowed);
  if (!done) {
    (void)files.removeFile(folder, temporary);
    return done;
  }
  return durability == SmallFileDurability::kNow ? files.syncFile(folder) : Result<void>{};
}

Result<void> setAsideSmallFile(FileCalls& files, int folder, const std::string& name) {
  return files.rename(folder, name, folder, name + ".damaged", Replace::kAllowed);
}

}  // namespace lumisk
