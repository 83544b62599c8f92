#include "devices/disk_images.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "devices/image_folder.h"
#include "devices/image_tools.h"
#include "platform/byte_text.h"
#include "platform/child_process.h"
#include "platform/mount_table.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace lumisk {
namespace {

using image_tools::firstLine;
using image_tools::runToSuccess;

constexpr std::chrono::milliseconds kBetweenLooks{20};
constexpr std::chrono::seconds kPatience{60};  // for the daemon to go, and for somebody else who works on the image
constexpr int kTriesToMake = 20;               // qemu-img cannot always tell the speed of a busy processor
constexpr int kRepaired = 1;                   // e2fsck(8): errors were corrected; larger ones were not

bool isWrongPassword(const ChildResult& result) {
  return result.errors.find("Invalid password") != std::string::npos ||
         result.errors.find("No key available") != std::string::npos;
}

tl::unexpected<Error> wrongPassword(const std::string& imagePath) {
  return fail("open the image", imagePath, EACCES, "wrong password");
}

// The tool makes the file again under the process's umask. Its header is what somebody who guesses passwords needs.
Result<void> setPrivate(FileCalls& files, int folder, const std::string& name) {
  LUMISK_TRY(const Descriptor image, files.openFile(folder, name));
  return files.setMode(image.get(), 0600);
}

bool isMountPoint(const std::string& path) {
  return image_folder::mountAt(path).has_value();
}

}  // namespace

// Locked for as long as this lives.
struct DiskImages::Working {
  ImageFolder folder;
  Descriptor lock;
};

DiskImages::DiskImages(FileCalls& files, Clock& clock, ImageBlocksMounter& mounter, std::string runtimeFolder)
    : files_(files), clock_(clock), mounter_(mounter), runtimeFolder_(std::move(runtimeFolder)) {}

std::string DiskImages::standardRuntimeFolder() {
  if (process::isRoot()) return "/run/lumisk-images";
  const char* own = std::getenv("XDG_RUNTIME_DIR");
  return paths::join(own && *own == '/' ? own : fmt::format("/run/user/{}", process::userId()), "lumisk-images");
}

Result<void> DiskImages::create(const NewImage& image, const std::string& password) {
  if (const auto why = passwordProblem(password); !why.empty()) return fail("use this password", {}, 0, why);
  if (const auto why = volumeNameProblem(image.volumeName); !why.empty()) {
    return fail("name a volume", image.volumeName, 0, why);
  }
  LUMISK_TRY(const Descriptor folder, files_.openRoot(paths::parent(image.imagePath)));
  // Ours from the first moment: what appears there meanwhile is somebody else's.
  LUMISK_TRY(Descriptor empty, files_.createFile(folder.get(), paths::lastComponent(image.imagePath), 0600));
  LUMISK_CHECK(files_.close(std::move(empty)));
  auto made = makeInside(image, password);
  if (made) made = setPrivate(files_, folder.get(), paths::lastComponent(image.imagePath));
  if (!made) (void)files_.removeFile(folder.get(), paths::lastComponent(image.imagePath));
  return made;
}

Result<void> DiskImages::makeInside(const NewImage& image, const std::string& password) {
  Result<void> made;
  for (int attempt = 0; attempt < kTriesToMake; ++attempt) {
    made = runToSuccess("make the image", image.imagePath, image_commands::makeImage(image.imagePath, image.bytes),
                        password);
    if (made) break;
  }
  LUMISK_CHECK(made);
  LUMISK_TRY(const Working work, workOn(image.imagePath));
  LUMISK_CHECK(open(work, password));
  const auto formatted = runToSuccess("make a file system in the image", image.imagePath,
                                      image_commands::makeFileSystem(work.folder.blocksPath(), image.volumeName,
                                                                     process::userId(), process::groupId()));
  const auto closed = close(work);
  return formatted ? closed : formatted;
}

Result<std::string> DiskImages::mount(const std::string& imagePath, const std::string& password) {
  LUMISK_CHECK(image_folder::checkIsImage(files_, imagePath));
  LUMISK_CHECK(mounter_.isReady());
  LUMISK_TRY(const Working work, workOn(imagePath));
  const auto left = work.folder.openImage();
  if (left && work.folder.isDaemonRunning() && isMountPoint(left->mountPoint)) return left->mountPoint;
  LUMISK_CHECK(recover(work, left));
  LUMISK_CHECK(open(work, password));
  auto mounted = mountInside(work);
  if (!mounted) (void)close(work);
  return mounted;
}

Result<std::string> DiskImages::mountInside(const Working& work) {
  const std::string& imagePath = work.folder.imagePath();
  LUMISK_TRY(const ChildResult check, image_tools::run(image_commands::checkFileSystem(work.folder.blocksPath())));
  if (check.status > kRepaired) {
    return fail("check the file system in the image", imagePath, EUCLEAN, firstLine(check, "e2fsck"));
  }
  const std::string name = paths::withoutExtension(paths::lastComponent(imagePath));
  LUMISK_TRY(std::string mountPoint, mounter_.mount(work.folder.blocksPath(), name));
  const auto noted = work.folder.note(mountPoint);
  if (noted) return mountPoint;
  (void)mounter_.unmount(mountPoint, ImageBlocksMounter::How::kAtOnce);
  return fail(noted.error());
}

Result<void> DiskImages::detach(const std::string& place) {
  LUMISK_TRY(const auto images, openImages());
  const auto found = std::find_if(images.begin(), images.end(), [&](const OpenImage& image) {
    return image.mountPoint == place || image.imagePath == place;
  });
  if (found == images.end()) return fail("detach", place, ENOENT, "no such image is mounted");
  LUMISK_TRY(const Working work, workOn(found->imagePath));
  LUMISK_CHECK(unmountInside(work, *found));
  return close(work);
}

// A dead daemon lets the unmounting succeed all the same, with everything lost that was not on the disk: so the data
// go first, and then the daemon is looked at.
Result<void> DiskImages::unmountInside(const Working& work, const OpenImage& image) {
  const auto flushed = flush(image.mountPoint);
  if (!work.folder.isDaemonRunning()) {
    LUMISK_CHECK(recover(work, image));
    return fail("detach", image.imagePath, EIO, "its storage daemon had ended; what was written last may be lost");
  }
  LUMISK_CHECK(flushed);
  return mounter_.unmount(image.mountPoint, ImageBlocksMounter::How::kWhenUnused);
}

Result<void> DiskImages::flush(const std::string& mountPoint) {
  LUMISK_TRY(const Descriptor root, files_.openRoot(mountPoint));
  return files_.syncFileSystem(root.get());
}

Result<void> DiskImages::changePassword(const std::string& imagePath, const std::string& before,
                                        const std::string& after) {
  LUMISK_CHECK(image_folder::checkIsImage(files_, imagePath));
  for (const std::string& password : {before, after}) {
    if (const auto why = passwordProblem(password); !why.empty()) return fail("use this password", {}, 0, why);
    // The tool takes the two as lines.
    if (password.find('\n') != std::string::npos) {
      return fail("change the password", imagePath, 0, "a password with a line break cannot be changed");
    }
  }
  LUMISK_TRY(const Working work, workOn(imagePath));
  if (work.folder.isDaemonRunning()) return fail("change the password", imagePath, EBUSY, "the image is mounted");
  LUMISK_TRY(const ChildResult result,
             image_tools::run(image_commands::changePassword(imagePath), before + "\n" + after + "\n"));
  if (isWrongPassword(result)) return wrongPassword(imagePath);
  if (result.status != 0) return fail("change the password", imagePath, 0, firstLine(result, "cryptsetup"));
  return {};
}

Result<std::vector<OpenImage>> DiskImages::openImages() {
  std::vector<OpenImage> images;
  LUMISK_TRY(const auto folders, image_folder::all(files_, runtimeFolder_));
  for (const ImageFolder& folder : folders) {
    auto image = folder.openImage();
    if (image && isMountPoint(image->mountPoint)) images.push_back(std::move(*image));
  }
  return images;
}

Result<DiskImages::Working> DiskImages::workOn(const std::string& imagePath) {
  LUMISK_TRY(auto folder, ImageFolder::make(files_, runtimeFolder_, imagePath));
  LUMISK_TRY(auto lock, files_.openRoot(folder.path()));
  const bool isOurs = waitFor([&] { return files_.lockExclusively(lock.get()).has_value(); });
  if (!isOurs) return fail("open the image", imagePath, EBUSY, "somebody else works on it");
  return Working{std::move(folder), std::move(lock)};
}

Result<void> DiskImages::open(const Working& work, const std::string& password) {
  LUMISK_CHECK(work.folder.prepare());
  LUMISK_TRY(const ChildResult result, image_tools::run(image_commands::openImage(work.folder.exported()), password));
  if (result.status == 0) return {};
  work.folder.clear();
  if (result.status == image_commands::kImageIsInUse) {
    return fail("open the image", work.folder.imagePath(), EBUSY, "another program has it open");
  }
  if (isWrongPassword(result)) return wrongPassword(work.folder.imagePath());
  return fail("open the image", work.folder.imagePath(), 0, firstLine(result, "qemu-storage-daemon"));
}

// Nothing is mounted from it. The daemon writes out what it has and goes; it is never killed.
Result<void> DiskImages::close(const Working& work) {
  process::askToEnd(work.folder.daemon());
  const bool isGone =
      waitFor([&] { return !work.folder.isDaemonRunning() && !isMountPoint(work.folder.blocksPath()); });
  if (!isGone) return fail("close the image", work.folder.imagePath(), EBUSY, "its storage daemon does not end");
  work.folder.clear();
  return {};
}

// What a crash has left: a mount without a daemon, a daemon without a mount, or the blocks of a dead daemon.
Result<void> DiskImages::recover(const Working& work, const std::optional<OpenImage>& left) {
  if (left && isMountPoint(left->mountPoint)) {
    LUMISK_CHECK(mounter_.unmount(left->mountPoint, ImageBlocksMounter::How::kAtOnce));
  }
  if (work.folder.isDaemonRunning()) return close(work);
  if (isMountPoint(work.folder.blocksPath())) {
    LUMISK_CHECK(mounter_.removeDeadBlocks(work.folder.blocksPath()));
  }
  work.folder.clear();
  return {};
}

bool DiskImages::waitFor(const std::function<bool()>& isSo) {
  for (auto left = kPatience / kBetweenLooks; !isSo(); --left) {
    if (left == 0) return false;
    clock_.sleep(kBetweenLooks);
  }
  return true;
}

std::string passwordProblem(const std::string& password) {
  if (password.empty()) return "a password must not be empty";
  if (password.size() > 512) return "a password has at most 512 bytes";
  if (!isValidUtf8(password)) return "a password must be text (UTF-8)";
  if (password.find('\0') != std::string::npos) return "a password cannot hold a NUL";
  return "";
}

std::string volumeNameProblem(const std::string& name) {
  if (name.empty() || name == "." || name == "..") return "a volume needs a name";
  if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) return "it has a slash in it";
  if (name.size() > 200) return "the name is too long";
  return "";
}

}  // namespace lumisk
