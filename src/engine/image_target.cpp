#include "engine/image_target.h"

#include <algorithm>
#include <cerrno>

#include "engine/path_texts.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::uint64_t kBlock = 512;
constexpr const char* kDetachKey = "SGDetachImages";

// An image whose storage daemon has died shows its folders as before, but nothing gets from there to the disk: mounting
// it again mends it.
bool takesData(FileCalls& files, int folder) {
  return files.mayWrite(folder, ".") && files.syncFileSystem(folder);
}

// On unless the preference says otherwise. A real-time job writes whenever something changes: its image stays.
bool detachesImages(const WorkerServices& services, const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info) {
  if (info.scheduling_method == SchedulingMethod::kRealTime) return false;
  const PropertyList wanted = services.preference ? services.preference(kDetachKey) : PropertyList();
  return wanted.isNone() || wanted.boolean();
}

}  // namespace

bool fitsHost(const HostRoom& room, std::uint64_t bytes) {
  if (room.available >= room.growth) return true;
  const std::uint64_t reserve = std::min(room.growth, kHostReserve);
  return room.available >= reserve && room.available - reserve >= bytes;
}

std::optional<HostRoom> hostRoomOf(FileCalls& files, const std::string& imagePath) {
  const auto folder = files.openRoot(paths::parent(imagePath));
  if (!folder) return std::nullopt;
  const auto image = files.status(folder->get(), paths::lastComponent(imagePath));
  const auto space = files.spaceOf(folder->get());
  if (!image || !space || image->type != FileType::kRegular) return std::nullopt;
  return HostRoom{space->available, image->size - std::min(image->size, image->blocks * kBlock)};
}

void ImageTarget::mountIfNeeded() {
  if (info_.dmgPath.empty() || !info_.bAutoMount) return;
  auto folder = services_.files.openRoot(info_.targetPaths.front());
  const bool isThere = folder && isInImage();
  if (isThere && takesData(services_.files, folder->get())) return;
  if (folder) folder->reset();
  const bool isMounted = services_.images.mountTheLumiskDMGFileAtPath(info_.dmgPath);
  isMountedHere_ = isMounted && !isThere && detachesImages(services_, info_);
}

bool ImageTarget::isInImage() const {
  return services_.images.isInImage(info_.targetPaths.front(), info_.dmgPath);
}

// Plain folders take data as well, but nothing in them is encrypted. What cannot be opened stands there all the same.
std::string ImageTarget::placeProblem() const {
  if (info_.dmgPath.empty()) return "";
  const std::string& target = info_.targetPaths.front();
  const auto folder = services_.files.openRoot(target);
  const bool isAbsent = !folder && folder.error().code == ENOENT;
  if (isAbsent || isInImage()) return "";
  return shown(target) + " is not the folder in the image, it stands in its place: " + absenceProblem();
}

std::string ImageTarget::absenceProblem() const {
  if (info_.dmgPath.empty()) return "";
  const std::string image = "the image \"" + shown(info_.dmgPath) + "\" ";
  if (!hostRoomOf(services_.files, info_.dmgPath)) return image + "is not there";
  if (!info_.bAutoMount) return image + "is not mounted";
  const bool isKept = services_.images.isAKeychainDMGAtPath(info_.dmgPath);
  return image + (isKept ? "cannot be mounted with the password that is kept for it, or does not hold this folder"
                         : "is not mounted, and no password is kept for it");
}

std::string ImageTarget::roomProblem() const {
  if (hasRoomFor(0)) return "";
  return "there is not enough room on the disk that holds the image " + shown(info_.dmgPath);
}

bool ImageTarget::hasRoomFor(std::uint64_t bytes) const {
  if (info_.dmgPath.empty()) return true;
  const auto room = hostRoomOf(services_.files, info_.dmgPath);
  return !room || fitsHost(*room, bytes);
}

}  // namespace lumisk
