#include "devices/image_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "devices/disk_images.h"
#include "platform/durable_file.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/property_list.h"

namespace lumisk {
namespace {

constexpr const char* kImagePathKey = "image-path";
constexpr const char* kMountPointKey = "mount-point";
constexpr std::uint32_t kOnlyOurs = 0700;

// The start of a LUKS header: magic and version. The storage daemon opens version 1 only.
// https://gitlab.com/cryptsetup/LUKS2-docs and the LUKS1 on-disk format, section 2.
constexpr std::array<char, 6> kMagic = {'L', 'U', 'K', 'S', '\xBA', '\xBE'};
constexpr std::size_t kHeaderStart = 8;

Result<void> makeFolder(FileCalls& files, const std::string& path, std::uint32_t mode) {
  LUMISK_TRY(const Descriptor parent, files.openRoot(paths::parent(path)));
  const auto made = files.makeFolder(parent.get(), paths::lastComponent(path), mode);
  if (!made && made.error().code != EEXIST) return fail("make the folder", path, made.error().code);
  return {};
}

}  // namespace

Result<ImageFolder> ImageFolder::make(FileCalls& files, const std::string& runtimeFolder,
                                      const std::string& imagePath) {
  LUMISK_TRY(const Descriptor parent, files.openRoot(paths::parent(imagePath)));
  LUMISK_TRY(const FileStatus image, files.status(parent.get(), paths::lastComponent(imagePath)));
  LUMISK_CHECK(makeFolder(files, runtimeFolder, kOnlyOurs));
  // Whoever may write there could show us other blocks.
  LUMISK_TRY(const Descriptor runtime, files.openRoot(runtimeFolder));
  LUMISK_TRY(const FileStatus status, files.statusOf(runtime.get()));
  if (status.owner != process::userId() || (status.mode & 0077) != 0) {
    return fail("use the folder", runtimeFolder, EPERM, "others may write or look into it");
  }
  const std::string path = paths::join(runtimeFolder, image_folder::nameFor(image.identity));
  LUMISK_CHECK(makeFolder(files, path, kOnlyOurs));
  return ImageFolder(files, path, imagePath);
}

Result<void> ImageFolder::prepare() const {
  clear();
  LUMISK_TRY(const Descriptor folder, files_->openRoot(path_));
  LUMISK_TRY(Descriptor blocks, files_->createFile(folder.get(), "blocks", 0600));
  return files_->close(std::move(blocks));
}

Result<void> ImageFolder::note(const std::string& mountPoint) const {
  return writePropertyListFile(statePath(),
                               PropertyList::Dictionary{{kImagePathKey, imagePath_}, {kMountPointKey, mountPoint}});
}

void ImageFolder::clear() const {
  const auto folder = files_->openRoot(path_);
  if (!folder) return;
  for (const char* name : {"state.plist", "daemon.pid", "blocks"}) (void)files_->removeFile(folder->get(), name);
}

std::optional<OpenImage> ImageFolder::openImage() const {
  const auto state = readPropertyListFile(statePath());
  if (!state) return std::nullopt;
  OpenImage image{(*state)[kImagePathKey].text(), (*state)[kMountPointKey].text(), {}};
  if (image.imagePath.empty() || image.mountPoint.empty()) return std::nullopt;
  if (const auto mount = image_folder::mountAt(image.mountPoint)) image.device = mount->source;
  return image;
}

std::int64_t ImageFolder::daemon() const {
  const auto file = loadFile(pidFilePath());
  std::int64_t pid = 0;
  if (file) std::from_chars(file->bytes.data(), file->bytes.data() + file->bytes.size(), pid);
  return pid;
}

bool ImageFolder::isDaemonRunning() const {
  return process::isRunning(daemon(), pidFilePath());
}

namespace image_folder {

Result<std::vector<ImageFolder>> all(FileCalls& files, const std::string& runtimeFolder) {
  std::vector<ImageFolder> folders;
  const auto folder = files.openRoot(runtimeFolder);
  if (!folder && folder.error().code == ENOENT) return folders;
  if (!folder) return fail(folder.error());
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(files.listFolder(folder->get(), entries));
  for (const FolderEntry& entry : entries) folders.emplace_back(files, paths::join(runtimeFolder, entry.name), "");
  return folders;
}

// The last mount of a place hides the others.
std::optional<MountEntry> mountAt(const std::string& path) {
  const auto mounts = mountTable();
  if (!mounts) return std::nullopt;
  const auto found =
      std::find_if(mounts->rbegin(), mounts->rend(), [&](const MountEntry& mount) { return mount.mountPoint == path; });
  return found == mounts->rend() ? std::nullopt : std::optional<MountEntry>(*found);
}

Result<void> checkIsImage(FileCalls& files, const std::string& imagePath) {
  LUMISK_TRY(const Descriptor folder, files.openRoot(paths::parent(imagePath)));
  const auto file = files.openFile(folder.get(), paths::lastComponent(imagePath));
  if (!file) return fail("open the image", imagePath, file.error().code);
  std::array<std::byte, kHeaderStart> start{};
  LUMISK_TRY(const std::size_t size, files.read(file->get(), start));
  const bool hasMagic = size == start.size() && std::memcmp(start.data(), kMagic.data(), kMagic.size()) == 0;
  const bool isVersion1 = start[6] == std::byte{0} && start[7] == std::byte{1};
  if (!hasMagic) return fail("open the image", imagePath, EINVAL, "it is not an encrypted image");
  if (!isVersion1) return fail("open the image", imagePath, EINVAL, "images of this version cannot be opened");
  return {};
}

Result<void> makeMountPoint(FileCalls& files, const std::string& mountPoint) {
  LUMISK_CHECK(makeFolder(files, paths::parent(mountPoint), 0755));
  LUMISK_CHECK(makeFolder(files, mountPoint, 0755));
  LUMISK_TRY(const Descriptor folder, files.openRoot(mountPoint));
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(files.listFolder(folder.get(), entries));
  if (!entries.empty() || mountAt(mountPoint)) return fail("mount at", mountPoint, EBUSY, "something else is there");
  return {};
}

std::string nameFor(const FileIdentity& image) {
  return fmt::format("{:x}-{}", image.device, image.inode);
}

void removeMountPoint(FileCalls& files, const std::string& mountPoint) {
  const auto parent = files.openRoot(paths::parent(mountPoint));
  if (parent) (void)files.removeFolder(parent->get(), paths::lastComponent(mountPoint));
}

}  // namespace image_folder

}  // namespace lumisk
